// OVDequeue, OVQueue, OVWeakReference and OVObservableObject.
#include <atomic>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "OVUtility/Collections/OVDequeue.h"
#include "OVUtility/Collections/OVObservableObject.h"
#include "OVUtility/Collections/OVQueue.h"
#include "OVUtility/Collections/OVWeakReference.h"

namespace {

using S = std::shared_ptr<std::string>;
S obj(std::string s) {
    return std::make_shared<std::string>(std::move(s));
}

// The data from head to tail; the back links must give the same in reverse.
std::vector<std::string> headToTail(const ov::OVDequeue<std::string>& dq) {
    std::vector<std::string> out, back;
    for (auto node = dq.head(); node; node = node->next)
        out.push_back(node->data ? *node->data : "nil");
    for (auto node = dq.tail(); node; node = node->previous.lock())
        back.insert(back.begin(), node->data ? *node->data : "nil");
    EXPECT_EQ(out, back);
    return out;
}

TEST(OVQueue, FirstInFirstOutAndEmptyPointers) {
    auto q = ov::OVQueue<std::string>::make();
    const S items[] = {obj("a"), obj("b"), obj("c")};
    for (const auto& item : items) q->add(item);
    EXPECT_EQ(q->peek(), items[0]);
    for (const auto& item : items) EXPECT_EQ(q->poll(), item);
    EXPECT_EQ(q->poll(), nullptr);
    q->add(nullptr);
    EXPECT_EQ(q->count(), 1u);
    EXPECT_TRUE(q->isEmpty());  // looks at the oldest object, not the count
    EXPECT_FALSE(q->isNotEmpty());
}

// removeObject matches by identity; at the head or tail it decrements the
// count twice (kept), so a one-element dequeue wraps to the largest count.
TEST(OVDequeue, EndsAndRemovalWithTheKeptDoubleDecrement) {
    using Strings = std::vector<std::string>;
    const struct {
        int remove;  // index into a, b, c; -1: an equal-text other object
        Strings left;
        std::uint64_t count;
    } cases[] = {
        {-1, {"a", "b", "c"}, 3}, {1, {"a", "c"}, 2}, {0, {"b", "c"}, 1}, {2, {"a", "b"}, 1}};
    for (const auto& c : cases) {
        auto dq = ov::OVDequeue<std::string>::make();
        EXPECT_EQ(dq->removeFirstObject(), nullptr);
        EXPECT_EQ(dq->removeLastObject(), nullptr);
        const S items[] = {obj("a"), obj("b"), obj("c")};
        dq->addLastObject(items[1]);
        dq->addFirstObject(items[0]);
        dq->addLastObject(items[2]);
        dq->removeObject(c.remove < 0 ? obj("b") : items[c.remove]);
        EXPECT_EQ(headToTail(*dq), c.left) << c.remove;
        EXPECT_EQ(dq->count(), c.count) << c.remove;
        EXPECT_EQ(*dq->peekFirstObject(), c.left.front());
        EXPECT_EQ(*dq->removeLastObject(), c.left.back());
    }
    auto single = ov::OVDequeue<std::string>::make();
    auto x = obj("x");
    single->addLastObject(x);
    single->removeObject(x);
    EXPECT_EQ(single->count(), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(headToTail(*single), std::vector<std::string>{});
}

TEST(OVDequeue, DroppedChainsAreFreed) {
    std::weak_ptr<std::string> watched;
    auto dq = ov::OVDequeue<std::string>::make();
    {
        auto payload = obj("payload");
        watched = payload;
        dq->addLastObject(payload);
        for (int i = 0; i < 200000; ++i) dq->addLastObject(obj("x"));
    }
    dq->removeAllObjects();
    EXPECT_EQ(dq->count(), 0u);
    EXPECT_TRUE(watched.expired());  // no cycle keeps the chain alive
}

TEST(OVDequeue, ConcurrentUseKeepsCountsConsistent) {
    auto dq = ov::OVDequeue<int>::make();
    constexpr int kPerThread = 20000;
    std::atomic<int> removed{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kPerThread; ++i) {
                if (t == 0)
                    dq->addFirstObject(std::make_shared<int>(i));
                else
                    dq->addLastObject(std::make_shared<int>(i));
                if (i % 3 == 0 && (t == 0 ? dq->removeLastObject() : dq->removeFirstObject()))
                    removed++;
            }
        });
    }
    for (auto& th : threads) th.join();
    std::uint64_t walked = 0;
    for (auto node = dq->head(); node; node = node->next) ++walked;
    EXPECT_EQ(dq->count(), static_cast<std::uint64_t>(2 * kPerThread - removed.load()));
    EXPECT_EQ(walked, dq->count());
}

TEST(OVWeakReference, EqualsOnlyItsLiveTarget) {
    auto target = obj("t");
    ov::OVWeakReference<std::string> ref(target), twin(target);
    EXPECT_TRUE(ref.isEqual(target));
    EXPECT_FALSE(ref.isEqual(obj("t")));
    EXPECT_FALSE(ref.isEqual(twin));
    EXPECT_EQ(ref.hash(), twin.hash());
    EXPECT_NE(ref.hash(), 0u);
    target.reset();
    EXPECT_EQ(ref.nonRetainedObject(), nullptr);
    EXPECT_EQ(ref.hash(), 0u);
    EXPECT_TRUE(ref.isEqual(S()));
}

struct ObserverBase {
    virtual ~ObserverBase() = default;
};
struct PlaybackListener {
    virtual ~PlaybackListener() = default;
    virtual void didPlay(const std::string& track, int position) = 0;
};
struct Recorder : ObserverBase, PlaybackListener {
    Recorder(std::string n, std::vector<std::string>* l) : name(std::move(n)), log(l) {}
    void didPlay(const std::string& track, int position) override {
        log->push_back(name + ":" + track + "@" + std::to_string(position));
        if (onPlay) onPlay();
    }
    void ping() const { log->push_back(name + ":ping"); }
    std::string name;
    std::vector<std::string>* log;
    std::function<void()> onPlay;
};
struct Bystander : ObserverBase {};  // does not implement PlaybackListener
class Player : public ov::OVObservableObject<ObserverBase> {};

TEST(OVObservableObject, OrderPriorityAndSkippedObservers) {
    std::vector<std::string> log;
    auto player = std::make_shared<Player>();
    auto a = std::make_shared<Recorder>("a", &log);
    auto b = std::make_shared<Recorder>("b", &log);
    auto bystander = std::make_shared<Bystander>();
    EXPECT_FALSE(player->hasObservers());
    for (const auto& o : std::vector<std::shared_ptr<ObserverBase>>{a, bystander, b, a, nullptr})
        player->addObserver(o);
    EXPECT_EQ(player->observers().size(), 3u);
    player->addPriorityObserver(b);  // moves to the front
    EXPECT_EQ(player->allObservers(),
              (std::vector<std::shared_ptr<ObserverBase>>{b, a, bystander}));
    player->notifyWithSelector(&PlaybackListener::didPlay, std::string("song"), 3);
    EXPECT_EQ(log, (std::vector<std::string>{"b:song@3", "a:song@3"}));

    log.clear();
    a.reset();  // destroyed: skipped, not pruned
    player->notifyWithSelector(&Recorder::ping);
    EXPECT_EQ(log, (std::vector<std::string>{"b:ping"}));
    EXPECT_EQ(player->allObservers().size(), 2u);
    EXPECT_EQ(player->observers().size(), 3u);
    player->removeObserver(bystander);
    EXPECT_TRUE(player->hasObservers());  // the dead reference remains

    // An observer that edits the list while being notified: the broadcast
    // walks a snapshot, the edit shows in the next one.
    auto late = std::make_shared<Recorder>("late", &log);
    b->onPlay = [&] {
        player->removeObserver(b);
        player->addObserver(late);
    };
    auto after = std::make_shared<Recorder>("after", &log);
    player->addObserver(after);
    log.clear();
    player->notifyWithSelector(&PlaybackListener::didPlay, std::string("x"), 1);
    EXPECT_EQ(log, (std::vector<std::string>{"b:x@1", "after:x@1"}));
    log.clear();
    player->notifyWithSelector(&PlaybackListener::didPlay, std::string("y"), 2);
    EXPECT_EQ(log, (std::vector<std::string>{"after:y@2", "late:y@2"}));
}

}  // namespace
