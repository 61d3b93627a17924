#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <future>
#include <numeric>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "OVUtility/Concurrency/Atomic.h"
#include "OVUtility/Concurrency/PThreadMutex.h"
#include "OVUtility/Concurrency/ThreadSafe.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "support/Eventually.h"

namespace {

using ov::PThreadMutex;

// tryLock from a thread other than the caller's.
bool tryLockElsewhere(PThreadMutex& mutex) {
    return std::async(std::launch::async,
                      [&] {
                          bool taken = mutex.tryLock();
                          if (taken) mutex.unlock();
                          return taken;
                      })
        .get();
}

// A normal mutex is busy even for its owner; a recursive one lets its owner
// take it again and needs as many unlocks as locks.
TEST(PThreadMutex, OwnerRelockingAndOtherThreads) {
    for (auto type : {PThreadMutex::Type::normal, PThreadMutex::Type::recursive}) {
        const bool recursive = type == PThreadMutex::Type::recursive;
        PThreadMutex mutex(type);
        mutex.lock();
        EXPECT_EQ(mutex.tryLock(), recursive);
        EXPECT_FALSE(tryLockElsewhere(mutex));
        if (recursive) {
            mutex.unlock();
            EXPECT_FALSE(tryLockElsewhere(mutex));  // still held once
            EXPECT_EQ(mutex.sync([&] { return mutex.sync([] { return 7; }); }), 7);
        }
        mutex.unlock();
        EXPECT_TRUE(tryLockElsewhere(mutex));
    }
}

struct SyncFailure : std::runtime_error {
    explicit SyncFailure(int code) : std::runtime_error("sync failure"), code(code) {}
    int code;
};

// sync excludes concurrent writers, and a closure's error passes through
// unchanged with the mutex unlocked.
TEST(PThreadMutex, SyncExcludesWritersAndUnlocksOnError) {
    for (auto type : {PThreadMutex::Type::normal, PThreadMutex::Type::recursive}) {
        PThreadMutex mutex(type);
        long counter = 0;  // plain: only the mutex protects it
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&] {
                for (int i = 0; i < 20000; ++i) mutex.sync([&] { ++counter; });
            });
        }
        for (auto& th : threads) th.join();
        EXPECT_EQ(counter, 80000);

        try {
            (void)mutex.sync([]() -> int { throw SyncFailure(42); });
            ADD_FAILURE() << "sync must pass the error on";
        } catch (const SyncFailure& e) {
            EXPECT_EQ(e.code, 42);  // the closure's own error, not one of sync's
        }
        EXPECT_TRUE(tryLockElsewhere(mutex));
    }
}

TEST(PThreadMutex, UnsafeMutexServesConditionWaits) {
    PThreadMutex mutex(PThreadMutex::Type::normal);
    pthread_cond_t cond = PTHREAD_COND_INITIALIZER;
    bool ready = false;
    std::thread producer([&] {
        mutex.sync([&] { ready = true; });
        pthread_cond_signal(&cond);
    });
    mutex.lock();
    while (!ready) pthread_cond_wait(&cond, &mutex.unsafeMutex);
    mutex.unlock();
    producer.join();
    pthread_cond_destroy(&cond);
    EXPECT_TRUE(ready);
}

TEST(AtomicBox, GetAndSetHandsEveryValueOutExactlyOnce) {
    // Threads swap in distinct shared values; if a read and the store could
    // interleave, some value would be returned twice and another lost (or a
    // reference count torn).
    ov::Atomic<std::shared_ptr<int>> token(std::make_shared<int>(-1));
    constexpr int kThreads = 4, kPerThread = 50000;
    std::atomic<int> ready{0};
    std::vector<std::vector<int>> seen(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (++ready; ready.load() < kThreads;) std::this_thread::yield();
            for (int i = 0; i < kPerThread; ++i)
                seen[t].push_back(*token.getAndSet(std::make_shared<int>(t * kPerThread + i)));
        });
    }
    for (auto& th : threads) th.join();
    std::multiset<int> all;
    for (auto& v : seen) all.insert(v.begin(), v.end());
    all.insert(*token.get());
    ASSERT_EQ(all.size(), static_cast<std::size_t>(kThreads * kPerThread + 1));
    int expected = -1;
    for (int v : all) EXPECT_EQ(v, expected++);
}

TEST(AtomicBox, HoldsNonTrivialValues) {
    ov::Atomic<std::shared_ptr<std::string>> box(std::make_shared<std::string>("a"));
    std::weak_ptr<std::string> first = box.get();
    auto old = box.getAndSet(std::make_shared<std::string>("b"));
    EXPECT_EQ(*old, "a");
    old.reset();
    EXPECT_TRUE(first.expired());  // the box no longer keeps it
    EXPECT_EQ(*box.get(), "b");
}

TEST(ThreadSafeValue, ConcurrentAtomicallyIncrementsAllTakeEffect) {
    auto queue =
        ov::DispatchQueue::make("test.threadsafe", ov::DispatchQueue::Attributes::concurrent);
    auto counter = ov::ThreadSafe<long>::make(0, queue);
    constexpr int kThreads = 4, kPerThread = 500;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            // A read-modify-write with a yield in between: overlapping
            // mutations would lose increments.
            for (int i = 0; i < kPerThread; ++i)
                counter->atomically([](long& v) {
                    const long read = v;
                    std::this_thread::yield();
                    v = read + 1;
                });
        });
    }
    // Readers alongside the writers only ever see counts that grow.
    std::atomic<bool> readerFailed{false};
    std::thread reader([&] {
        long last = 0;
        for (int i = 0; i < 500; ++i) {
            long now = counter->value();
            if (now < last) readerFailed = true;
            last = now;
        }
    });
    for (auto& th : threads) th.join();
    reader.join();
    EXPECT_FALSE(readerFailed);
    // Every mutation was submitted before this read, so it sees them all.
    EXPECT_EQ(counter->value(), kThreads * kPerThread);
}

TEST(ThreadSafeValue, SerialQueueAppliesMutationsInOrder) {
    auto list = ov::ThreadSafe<std::vector<int>>::make({}, ov::DispatchQueue::make("serial"));
    std::vector<int> expected(100);
    for (int i = 0; i < 100; ++i) list->atomically([i](std::vector<int>& v) { v.push_back(i); });
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(list->value(), expected);
}

TEST(ThreadSafeValue, PendingMutationKeepsTheObjectAlive) {
    auto queue = ov::DispatchQueue::make("test.threadsafe.lifetime",
                                         ov::DispatchQueue::Attributes::concurrent);
    std::atomic<bool> ran{false};
    std::weak_ptr<ov::ThreadSafe<int>> weak;
    queue->suspend();
    {
        auto value = ov::ThreadSafe<int>::make(1, queue);
        weak = value;
        value->atomically([&](int& v) {
            v = 2;
            ran = true;
        });
    }
    EXPECT_FALSE(weak.expired());  // held by the queued block
    queue->resume();
    EXPECT_TRUE(ovtest::eventually([&] { return ran.load() && weak.expired(); }));
}

}  // namespace
