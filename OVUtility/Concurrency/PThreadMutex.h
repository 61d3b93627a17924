// ov::PThreadMutex: owns one POSIX mutex of a stated kind, normal or
// recursive, for callers that want a plain pthread mutex (and its address,
// for condition waits of their own).
//
//   ov::PThreadMutex mutex(ov::PThreadMutex::Type::recursive);
//   int n = mutex.sync([&] { return ++counter; });    // unlocks also on exception
//   if (mutex.tryLock()) { ...; mutex.unlock(); }
//   pthread_cond_wait(&cond, &mutex.unsafeMutex);     // the raw mutex is public
//
// - `normal` locked twice by the same thread deadlocks (POSIX semantics);
//   `recursive` counts locks and needs as many unlocks.
// - `lock`/`unlock` ignore the POSIX result codes; `tryLock` answers true
//   exactly when the lock was taken.
// - Creation failures (attribute or mutex initialisation) end the process:
//   there is no recoverable path.
// - Not copyable or movable: the mutex lives inside the object.
#pragma once

#include <pthread.h>

#include <type_traits>
#include <utility>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class OV_API PThreadMutex {
  public:
    // The two kinds, mapping to PTHREAD_MUTEX_NORMAL (0) and PTHREAD_MUTEX_RECURSIVE (2).
    enum class Type { normal, recursive };

    // Writable on purpose: callers pass its address to POSIX calls of their
    // own. Replacing it wholesale is the caller's responsibility.
    pthread_mutex_t unsafeMutex;

    explicit PThreadMutex(Type type);
    ~PThreadMutex();
    PThreadMutex(const PThreadMutex&) = delete;
    PThreadMutex& operator=(const PThreadMutex&) = delete;

    void lock();
    void unlock();
    bool tryLock();

    // Locks, runs `body` on the calling thread, unlocks and returns its
    // result. An exception from `body` unlocks and passes on unchanged.
    template <typename F>
    auto sync(F&& body) -> std::invoke_result_t<F&> {
        lock();
        struct Unlock {
            PThreadMutex* mutex;
            ~Unlock() { mutex->unlock(); }
        } guard{this};
        return body();
    }

    // BasicLockable / Lockable, for std::lock_guard and std::unique_lock.
    bool try_lock() { return tryLock(); }
};

}  // namespace ov
