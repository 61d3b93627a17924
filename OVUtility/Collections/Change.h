// Change<T>: an old/new value pair, either side possibly absent, e.g. for
// reporting what a setting moved from and to.
//
//   ov::Change<int> c(/*newValue=*/2, /*oldValue=*/1);
//   c.newValue();  // 2
#pragma once

#include <optional>
#include <utility>

namespace ov {

template <typename T>
class Change {
  public:
    Change(std::optional<T> newValue, std::optional<T> oldValue)
        : newValue_(std::move(newValue)), oldValue_(std::move(oldValue)) {}

    const std::optional<T>& newValue() const { return newValue_; }
    const std::optional<T>& oldValue() const { return oldValue_; }

    friend bool operator==(const Change&, const Change&) = default;

  private:
    std::optional<T> newValue_;
    std::optional<T> oldValue_;
};

}  // namespace ov
