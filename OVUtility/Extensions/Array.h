// Array additions: safe indexing, chunking, dividing, prefixes and the
// `ov_map` / `ov_filter` / `ov_reduce` helpers, over any vector-like
// sequence (std::vector, std::deque, std::array, spans).
//
//   std::vector<int> v{1, 2, 3, 4, 5};
//   ov::safeObjectAtIndex(v, 5);                  // std::nullopt, never UB
//   ov::arrayBySplittingItemsIntoChunksOf(v, 2);  // {{1,2},{3,4},{5}}
//   ov::divide(v, 0);                             // {{1,2,3,4,5}}
//   auto doubled = ov::ov_map(v, [](int x) { return 2 * x; });
//
// Two families live here, as on the platform:
// - the bridged array category (`safeObjectAtIndex`, `arrayBySplittingItemsIntoChunksOf`,
//   `arrayLimitedToCount`, `ov_arrayUpToAndExcluding`, `map`, and the free functions
//   `ov_map`, `ov_filter`, `ov_reduce`);
// - the native array additions (`divide`, `safeSubset`, `average`, `safe`).
// Element identity follows the element type: a vector of shared_ptr compares
// pointers, a vector of values compares values.
//
// All results are new vectors of the element type; the input is never changed.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <optional>
#include <ranges>
#include <type_traits>
#include <utility>
#include <vector>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

namespace array_detail {
template <typename C>
using Element = std::remove_cvref_t<std::ranges::range_value_t<C>>;

// Logs a refused chunk size (kept out of line so that this header stays light).
OV_API void logInvalidChunkSize(long long size);
}  // namespace array_detail

// ---------------------------------------------------------------- bridged category

// The element at `index` when it is below the count, else nullopt.
template <std::ranges::random_access_range C>
std::optional<array_detail::Element<C>> safeObjectAtIndex(const C& array, std::size_t index) {
    if (index >= std::ranges::size(array)) return std::nullopt;
    return std::ranges::begin(array)[static_cast<std::ptrdiff_t>(index)];
}

// Consecutive chunks of `size` elements in order, the last possibly shorter;
// an empty array gives no chunks. A size below 1 cannot make progress: it is
// logged as a programming error and the whole array comes back as one chunk
// (so no element is lost and the call always returns). This departs on
// purpose from the platform's method, which never returns on such a size.
template <std::ranges::forward_range C>
std::vector<std::vector<array_detail::Element<C>>> arrayBySplittingItemsIntoChunksOf(
    const C& array, std::int32_t size) {
    using T = array_detail::Element<C>;
    std::vector<std::vector<T>> chunks;
    if (std::ranges::empty(array)) return chunks;
    if (size < 1) {
        array_detail::logInvalidChunkSize(size);
        chunks.emplace_back(std::ranges::begin(array), std::ranges::end(array));
        return chunks;
    }
    auto it = std::ranges::begin(array);
    auto end = std::ranges::end(array);
    while (it != end) {
        auto stop = std::ranges::next(it, size, end);
        chunks.emplace_back(it, stop);
        it = stop;
    }
    return chunks;
}

// The first min(count, limit) elements.
template <std::ranges::forward_range C>
std::vector<array_detail::Element<C>> arrayLimitedToCount(const C& array, std::size_t limit) {
    auto begin = std::ranges::begin(array);
    auto stop = std::ranges::next(begin, static_cast<std::ptrdiff_t>(std::min<std::size_t>(
                                             limit, std::ranges::distance(array))));
    return {begin, stop};
}

// The elements before the first element equal to `object`; the whole array
// when there is none.
template <std::ranges::forward_range C, typename U>
std::vector<array_detail::Element<C>> ov_arrayUpToAndExcluding(const C& array, const U& object) {
    auto begin = std::ranges::begin(array);
    auto stop = std::ranges::find(array, object);
    return {begin, stop};
}

// A new array of `transform(element)` for each element, in order.
template <std::ranges::input_range C, typename F>
auto ov_map(const C& array, F&& transform) {
    using R =
        std::remove_cvref_t<std::invoke_result_t<F&, std::ranges::range_reference_t<const C>>>;
    std::vector<R> out;
    if constexpr (std::ranges::sized_range<C>) out.reserve(std::ranges::size(array));
    for (auto&& element : array) out.push_back(transform(element));
    return out;
}

// Same as `ov_map` (the category's spelling).
template <std::ranges::input_range C, typename F>
auto map(const C& array, F&& transform) {
    return ov_map(array, std::forward<F>(transform));
}

// The elements for which `predicate` answers true, in order.
template <std::ranges::input_range C, typename F>
std::vector<array_detail::Element<C>> ov_filter(const C& array, F&& predicate) {
    std::vector<array_detail::Element<C>> out;
    for (auto&& element : array) {
        if (predicate(element)) out.push_back(element);
    }
    return out;
}

// Folds from `initial`, calling `combine(accumulator, element)` in order.
template <std::ranges::input_range C, typename A, typename F>
A ov_reduce(const C& array, A initial, F&& combine) {
    for (auto&& element : array) initial = combine(std::move(initial), element);
    return initial;
}

// ---------------------------------------------------------------- native additions

// The elements in consecutive subsets of at most `maxCountPerSubset`, in
// order (the last possibly shorter). A maximum below 1 gives one subset
// holding the whole array, even when that is empty; otherwise an empty array
// gives no subsets.
template <std::ranges::forward_range C>
std::vector<std::vector<array_detail::Element<C>>> divide(const C& array,
                                                          std::ptrdiff_t maxCountPerSubset) {
    using T = array_detail::Element<C>;
    std::vector<std::vector<T>> subsets;
    if (maxCountPerSubset < 1) {
        subsets.emplace_back(std::ranges::begin(array), std::ranges::end(array));
        return subsets;
    }
    auto it = std::ranges::begin(array);
    auto end = std::ranges::end(array);
    while (it != end) {
        auto stop = std::ranges::next(it, maxCountPerSubset, end);
        subsets.emplace_back(it, stop);
        it = stop;
    }
    return subsets;
}

// Up to `maxLimit` elements starting at `startIndex`, clamped to the array:
// a start past the end or a limit below 1 gives an empty array, a negative
// start counts from 0.
template <std::ranges::random_access_range C>
std::vector<array_detail::Element<C>> safeSubset(const C& array, std::ptrdiff_t startIndex,
                                                 std::ptrdiff_t maxLimit) {
    const auto count = static_cast<std::ptrdiff_t>(std::ranges::size(array));
    const std::ptrdiff_t start = std::clamp<std::ptrdiff_t>(startIndex, 0, count);
    if (maxLimit < 1) return {};
    const std::ptrdiff_t stop = start + std::min(maxLimit, count - start);
    auto begin = std::ranges::begin(array);
    return {begin + start, begin + stop};
}

// Sum over count. An empty array gives NaN (0 / 0), as the platform's does.
template <std::ranges::input_range C>
requires std::is_floating_point_v<array_detail::Element<C>> array_detail::Element<C> average(
    const C& array) {
    using T = array_detail::Element<C>;
    T sum = 0;
    std::size_t n = 0;
    for (T v : array) {
        sum += v;
        ++n;
    }
    return sum / static_cast<T>(n);
}

// Safe subscript of any random-access collection: the element at `index`,
// or nullopt outside the indices (negative indices included).
template <std::ranges::random_access_range C>
std::optional<array_detail::Element<C>> safe(const C& collection, std::ptrdiff_t index) {
    if (index < 0 || index >= static_cast<std::ptrdiff_t>(std::ranges::size(collection))) {
        return std::nullopt;
    }
    return std::ranges::begin(collection)[index];
}

}  // namespace ov
