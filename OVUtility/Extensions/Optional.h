// Unwrapping optionals with an error instead of undefined behaviour.
//
//   std::optional<int> maybe = lookup();
//   try {
//       int v = ov::unwrap(maybe);
//   } catch (const ov::OptionalErrorException& e) {
//       assert(e.error() == ov::OptionalError::couldNotUnwrapNil);
//   }
//
// `unwrap` is for call sites that deliberately turn "absent" into an error
// that propagates (the platform's throwing `unwrap()`); it works on
// std::optional and on shared_ptr (an empty pointer is an absent object).
#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

enum class OptionalError { couldNotUnwrapNil };

// The exception that carries an `OptionalError`.
class OV_API OptionalErrorException : public std::exception {
  public:
    explicit OptionalErrorException(OptionalError error) : error_(error) {}
    OptionalError error() const noexcept { return error_; }
    const char* what() const noexcept override { return "couldNotUnwrapNil"; }

  private:
    OptionalError error_;
};

// The wrapped value; throws OptionalErrorException(couldNotUnwrapNil) when empty.
template <typename T>
T& unwrap(std::optional<T>& value) {
    if (!value) throw OptionalErrorException(OptionalError::couldNotUnwrapNil);
    return *value;
}
template <typename T>
const T& unwrap(const std::optional<T>& value) {
    if (!value) throw OptionalErrorException(OptionalError::couldNotUnwrapNil);
    return *value;
}
template <typename T>
T unwrap(std::optional<T>&& value) {
    if (!value) throw OptionalErrorException(OptionalError::couldNotUnwrapNil);
    return std::move(*value);
}
template <typename T>
const std::shared_ptr<T>& unwrap(const std::shared_ptr<T>& object) {
    if (!object) throw OptionalErrorException(OptionalError::couldNotUnwrapNil);
    return object;
}

}  // namespace ov
