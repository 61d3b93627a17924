// ov::describe: the textual description of an element held by the library's
// containers (list and deque descriptions, priority-queue node descriptions).
//
//   ov::describe(42);                         // "42"
//   ov::describe(std::string("job"));         // "job"
//   ov::describe(std::make_shared<Op>(...));  // op->description() when Op has one
//
// Resolution order: a `description()` member (called through `->` for smart
// pointers), then text types as they are, then anything fmt can format, then
// the object's address. An empty shared pointer describes as "nil".
#pragma once

#include <concepts>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

#include <fmt/format.h>

namespace ov {

namespace detail {
template <typename T>
concept HasDescription = requires(const T& value) {
    { value.description() } -> std::convertible_to<std::string>;
};

template <typename T>
struct IsSharedPtr : std::false_type {};
template <typename T>
struct IsSharedPtr<std::shared_ptr<T>> : std::true_type {};
}  // namespace detail

template <typename T>
std::string describe(const T& value) {
    if constexpr (detail::HasDescription<T>) {
        return std::string(value.description());
    } else if constexpr (detail::IsSharedPtr<T>::value) {
        if (!value) return "nil";
        return describe(*value);
    } else if constexpr (std::is_convertible_v<const T&, std::string_view>) {
        return std::string(std::string_view(value));
    } else if constexpr (fmt::is_formattable<T>::value) {
        return fmt::format("{}", value);
    } else {
        return fmt::format("<{}>", static_cast<const void*>(&value));
    }
}

}  // namespace ov
