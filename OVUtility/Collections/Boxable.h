// Boxable / Box<T>: types that wrap one equatable raw value, and a reference
// type that does just that.
//
//   struct TrackId : ov::Boxable<TrackId, std::string> {
//       explicit TrackId(std::string raw) : raw_(std::move(raw)) {}
//       const std::string& rawValue() const { return raw_; }
//       std::string raw_;
//   };
//   TrackId::make("t1") == TrackId::make("t1");         // compares raw values
//   std::optional<TrackId> none = TrackId::make(std::optional<std::string>{});
//
//   auto box = ov::Box<int>::make(5);                    // std::shared_ptr<Box<int>>
//   *box == *ov::Box<int>::make(5);                      // true
//   ov::Box<int>::make(std::optional<int>{});            // empty pointer
//
// A conforming type derives from Boxable<Self, Raw> (CRTP), provides
// `rawValue()` and a constructor from the raw value. It then gets `==` on raw
// values and the factories `make(raw)` and `make(optional raw)` (none gives
// none).
#pragma once

#include <concepts>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace ov {

template <typename Self, typename Raw>
requires std::equality_comparable<Raw>
class Boxable {
  public:
    using Boxed = Raw;

    static Self make(Boxed boxed) { return Self(std::move(boxed)); }
    // Only an actual optional selects this overload, so `make("text")` stays
    // unambiguous.
    template <typename Opt>
    requires std::same_as<std::remove_cvref_t<Opt>, std::optional<Boxed>>
    static std::optional<Self> make(Opt&& boxed) {
        if (!boxed) return std::nullopt;
        return Self(*std::forward<Opt>(boxed));
    }

    friend bool operator==(const Self& a, const Self& b) { return a.rawValue() == b.rawValue(); }
};

// Anything that behaves as a Boxable: a raw value type, `rawValue()`, and a
// constructor from the raw value.
template <typename T>
concept BoxableType = requires(const T& t) {
    typename T::Boxed;
    { t.rawValue() } -> std::convertible_to<const typename T::Boxed&>;
}
&&std::constructible_from<T, typename T::Boxed>;

template <typename T>
requires std::equality_comparable<T>
class Box : public Boxable<Box<T>, T> {
  public:
    explicit Box(T rawValue) : rawValue_(std::move(rawValue)) {}

    static std::shared_ptr<Box> make(T rawValue) {
        return std::make_shared<Box>(std::move(rawValue));
    }
    // None gives an empty pointer.
    template <typename Opt>
    requires std::same_as<std::remove_cvref_t<Opt>, std::optional<T>>
    static std::shared_ptr<Box> make(Opt&& rawValue) {
        if (!rawValue) return nullptr;
        return std::make_shared<Box>(*std::forward<Opt>(rawValue));
    }

    const T& rawValue() const { return rawValue_; }

  private:
    const T rawValue_;
};

}  // namespace ov
