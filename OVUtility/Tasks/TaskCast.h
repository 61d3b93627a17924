// ov::taskCast<P>(task): the task viewed as protocol P (nullptr when it does
// not adopt P), like dynamic_cast, but cheap on the scheduler's hot path.
//
//   if (auto* indexable = ov::taskCast<ov::TaskIndexable>(task.get())) { ... }
//   std::shared_ptr<ov::TaskCombinable> c = ov::taskPointerCast<ov::TaskCombinable>(task);
//
// Task classes adopt many protocols through virtual inheritance, which makes
// every dynamic_cast a walk over the whole class graph (with a string
// comparison per step). The position of a protocol's subobject inside a
// complete object depends only on the object's dynamic type, so the first
// cast per (dynamic type, protocol) is done with dynamic_cast and its offset
// remembered in a small per-thread cache; later casts are a typeid lookup
// and an addition.
//
// Only for fully constructed objects (never from a constructor or
// destructor, where the dynamic type is still a base class and its layout
// that of a subobject).
#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <type_traits>
#include <typeinfo>

namespace ov {

namespace detail {

template <typename To>
struct TaskCastCache {
    static constexpr std::ptrdiff_t kNotAdopted = std::numeric_limits<std::ptrdiff_t>::min();
    static constexpr unsigned kSize = 8;
    struct Entry {
        const std::type_info* type = nullptr;
        std::ptrdiff_t offset = kNotAdopted;
    };
    Entry entries[kSize];
    unsigned next = 0;
};

}  // namespace detail

template <typename To, typename From>
To* taskCast(From* object) {
    using Plain = std::remove_const_t<To>;
    if (!object) return nullptr;
    auto* mutableObject = const_cast<std::remove_const_t<From>*>(object);
    const std::type_info* type = &typeid(*mutableObject);
    char* complete = static_cast<char*>(dynamic_cast<void*>(mutableObject));
    thread_local detail::TaskCastCache<Plain> cache;
    for (const auto& entry : cache.entries) {
        if (entry.type == type) {
            if (entry.offset == detail::TaskCastCache<Plain>::kNotAdopted) return nullptr;
            return reinterpret_cast<Plain*>(complete + entry.offset);
        }
    }
    Plain* result = dynamic_cast<Plain*>(mutableObject);
    auto& slot = cache.entries[cache.next++ % detail::TaskCastCache<Plain>::kSize];
    slot.type = type;
    slot.offset = result ? reinterpret_cast<char*>(result) - complete
                         : detail::TaskCastCache<Plain>::kNotAdopted;
    return result;
}

// The shared_ptr form: shares ownership with `object`.
template <typename To, typename From>
std::shared_ptr<To> taskPointerCast(const std::shared_ptr<From>& object) {
    To* raw = taskCast<To>(object.get());
    return raw ? std::shared_ptr<To>(object, raw) : nullptr;
}

}  // namespace ov
