// Comparing floating-point values within an accuracy.
//
//   ov::isEqual(0.1 + 0.2, 0.3, 1e-9);          // true
//   ov::isEqual(std::optional<double>{}, 1.0, 0.5);   // false: nothing to compare
//
// Two values are equal when |a - b| <= accuracy: the boundary counts as
// equal. NaN is never equal to anything, an infinity only to itself (the
// difference of equal infinities is taken as 0). A negative accuracy makes
// nothing equal.
#pragma once

#include <cmath>
#include <concepts>
#include <optional>

namespace ov {

template <std::floating_point T>
bool isEqual(T value, T other, T accuracy) {
    if (std::isnan(value) || std::isnan(other) || std::isnan(accuracy)) return false;
    if (value == other) return accuracy >= T(0);
    if (std::isinf(value) || std::isinf(other)) return false;
    return std::fabs(value - other) <= accuracy;
}

// An absent value is not equal to anything.
template <std::floating_point T>
bool isEqual(const std::optional<T>& value, T other, T accuracy) {
    return value.has_value() && isEqual(*value, other, accuracy);
}

}  // namespace ov
