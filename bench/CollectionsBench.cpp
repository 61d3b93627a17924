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
#include <optional>
#include <queue>
#include <random>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "BenchRatios.h"
#include "OVUtility/Collections/MemoryCache.h"
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

// ---------------------------------------------------------------- memory cache reads
constexpr int kCacheKeys = 1024;

const std::vector<ov::MemoryCacheItem<int>>& probes() {
    static const auto* items = [] {
        auto* v = new std::vector<ov::MemoryCacheItem<int>>();
        for (int i = 0; i < kCacheKeys; ++i) v->emplace_back("key-" + std::to_string(i));
        return v;
    }();
    return *items;
}

ov::MemoryCache<int>& strictCache() {
    static const auto cache = [] {
        auto c = ov::MemoryCache<int>::make(ov::MemoryCacheThreadSafePolicy::strict);
        for (int i = 0; i < kCacheKeys; ++i) c->upsert(probes()[i].withValue(i));
        c->value(probes()[0]);  // the writes are in place once a read gets through
        return c;
    }();
    return *cache;
}

struct SharedMutexMap {
    std::shared_mutex mutex;
    std::unordered_map<std::string, std::optional<int>> map;
    std::optional<int> get(const std::string& key) {
        std::shared_lock lock(mutex);
        auto it = map.find(key);
        return it == map.end() ? std::nullopt : it->second;
    }
};

SharedMutexMap& peerMap() {
    static auto* peer = [] {
        auto* p = new SharedMutexMap();
        for (int i = 0; i < kCacheKeys; ++i) p->map.emplace(probes()[i].key, i);
        return p;
    }();
    return *peer;
}

void BM_MemoryCache_StrictRead(benchmark::State& state) {
    auto& cache = strictCache();
    const auto& items = probes();
    std::size_t i = static_cast<std::size_t>(state.thread_index()) * 7919;
    for (auto _ : state) benchmark::DoNotOptimize(cache.value(items[i++ & (kCacheKeys - 1)]));
    state.SetItemsProcessed(state.iterations());
}

void BM_MemoryCache_Peer_SharedMutexMap(benchmark::State& state) {
    auto& peer = peerMap();
    const auto& items = probes();
    std::size_t i = static_cast<std::size_t>(state.thread_index()) * 7919;
    for (auto _ : state) benchmark::DoNotOptimize(peer.get(items[i++ & (kCacheKeys - 1)].key));
    state.SetItemsProcessed(state.iterations());
}

// Real time: with two threads, items per second is the combined throughput.
BENCHMARK(BM_MemoryCache_StrictRead)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_MemoryCache_Peer_SharedMutexMap)->Threads(1)->Threads(2)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    return ovbench::runWithRatios(
        argc, argv,
        {{"BM_LRU_OVLRUCache/1000", "BM_LRU_Peer_ListMap/1000"},
         {"BM_LRU_OVLRUCache/100000", "BM_LRU_Peer_ListMap/100000"},
         {"BM_LRU_OVLRUCache/1000000", "BM_LRU_Peer_ListMap/1000000"},
         {"BM_PQ_OVPriorityQueue/1000", "BM_PQ_Peer_StdPriorityQueue/1000"},
         {"BM_PQ_OVPriorityQueue/100000", "BM_PQ_Peer_StdPriorityQueue/100000"},
         {"BM_MemoryCache_StrictRead/real_time/threads:1",
          "BM_MemoryCache_Peer_SharedMutexMap/real_time/threads:1"},
         {"BM_MemoryCache_StrictRead/real_time/threads:2",
          "BM_MemoryCache_Peer_SharedMutexMap/real_time/threads:2"},
         {"BM_MemoryCache_StrictRead/real_time/threads:2",
          "BM_MemoryCache_StrictRead/real_time/threads:1"}});
}
