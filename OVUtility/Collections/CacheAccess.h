// ov::CacheAccess: the synchronisation strategy of a MemoryCache, a
// reader/writer pair.
//
//   class MyAccess : public ov::CacheAccess {
//       void concurrentRead(ov::CacheAccess::ReadBody body) override { ...; body(); }
//       void exclusiveWrite(std::function<void()> body) override { ... }
//   };
//   int n = access.read([&] { return map.size(); });   // typed convenience
//
// - `concurrentRead` runs the body before it returns, possibly at the same
//   time as other reads; an exception thrown by the body reaches the caller.
// - `exclusiveWrite` runs the body exclusively (no read or write at the same
//   time) and may return before the body has run: the body may outlive the
//   call, so it must own what it uses. A later read through the same access
//   must observe it.
// The normal strategy is a concurrent dispatch queue: see
// DispatchQueueCacheAccess (MemoryCache.h).
#pragma once

#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class OV_API CacheAccess {
  public:
    // A non-owning reference to a read body (no allocation per read).
    class ReadBody {
      public:
        template <typename F>
        ReadBody(F& f)  // NOLINT: implicit on purpose
            : object_(static_cast<void*>(&f)), call_([](void* o) { (*static_cast<F*>(o))(); }) {}
        void operator()() const { call_(object_); }

      private:
        void* object_;
        void (*call_)(void*);
    };

    virtual ~CacheAccess() = default;
    virtual void concurrentRead(ReadBody body) = 0;
    virtual void exclusiveWrite(std::function<void()> body) = 0;

    // Runs `f` as a read and returns its result.
    template <typename F>
    auto read(F&& f) -> std::invoke_result_t<F&> {
        using R = std::invoke_result_t<F&>;
        if constexpr (std::is_void_v<R>) {
            auto body = [&] { f(); };
            concurrentRead(body);
        } else {
            std::optional<R> result;
            auto body = [&] { result.emplace(f()); };
            concurrentRead(body);
            return std::move(*result);
        }
    }
};

}  // namespace ov
