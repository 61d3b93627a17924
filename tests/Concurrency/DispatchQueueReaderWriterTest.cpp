// concurrentRead/exclusiveWrite: inline when the current operation queue runs
// on the queue, reader/writer exclusion otherwise; the shared cache queue.
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "OVUtility/Concurrency/DispatchQueueReaderWriter.h"
#include "OVUtility/Platform/OperationQueue.h"
#include "support/Eventually.h"
#include "support/Gate.h"

using namespace ov;

TEST(DispatchQueueReaderWriterTest, MemoryCacheQueueIsMadeOnceAndConcurrent) {
    auto a = memoryCacheAccess();
    std::shared_ptr<DispatchQueue> b;
    std::thread([&] { b = memoryCacheAccess(); }).join();
    EXPECT_EQ(a, b);
    EXPECT_EQ(a->label(), "com.orvanta.memory-cache.rwLock");
    EXPECT_TRUE(a->isConcurrent());
}

TEST(DispatchQueueReaderWriterTest, InsideAnOperationOnTheQueueBothRunInline) {
    auto rw = DispatchQueue::make("rw", DispatchQueue::Attributes::concurrent);
    auto ops = OperationQueue::make("on-rw");
    ops->setUnderlyingQueue(rw);
    int value = 0, readBack = -1;
    std::thread::id writer, reader, self;
    ops->addOperation([&] {
        self = std::this_thread::get_id();
        exclusiveWrite(*rw, [&] {
            writer = std::this_thread::get_id();
            value = 42;
        });
        // Visible at once: the write did not wait behind this block.
        readBack = concurrentRead(*rw, [&] {
            reader = std::this_thread::get_id();
            return value;
        });
    });
    ops->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(readBack, 42);
    EXPECT_EQ(writer, self);
    EXPECT_EQ(reader, self);
}

TEST(DispatchQueueReaderWriterTest, FromOutsideWritesAreBarriersBehindRunningReaders) {
    auto rw = DispatchQueue::make("rw", DispatchQueue::Attributes::concurrent);
    ovtest::Gate readerIn, release;
    std::thread reader([&] {
        concurrentRead(*rw, [&] {
            readerIn.open();
            return release.wait();
        });
    });
    ASSERT_TRUE(readerIn.wait());
    std::atomic<bool> written{false};
    exclusiveWrite(*rw, [&] { written = true; });  // returns while the reader holds the queue
    EXPECT_FALSE(ovtest::eventually([&] { return written.load(); }, 0.2));
    release.open();
    reader.join();
    EXPECT_TRUE(ovtest::eventually([&] { return written.load(); }));
    EXPECT_EQ(concurrentRead(*rw, [] { return 5; }), 5);
    EXPECT_THROW(concurrentRead(*rw, []() -> int { throw std::runtime_error("read failed"); }),
                 std::runtime_error);
}
