// ov::CaseIterable: the list of every case of an enumeration, for code that
// walks all cases (the platform's "all cases enumerable" types).
//
//   template <> struct ov::CaseIterable<Color> {
//       static constexpr std::array allCases{Color::red, Color::green};
//   };
//   for (Color c : ov::allCases<Color>()) { ... }
#pragma once

#include <span>

namespace ov {

template <typename E>
struct CaseIterable;  // specialise with a static `allCases` array, in declaration order

template <typename E>
concept CaseIterableType = requires {
    CaseIterable<E>::allCases;
};

template <CaseIterableType E>
constexpr auto allCases() {
    return std::span(CaseIterable<E>::allCases);
}

}  // namespace ov
