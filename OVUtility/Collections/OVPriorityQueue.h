// OVPriorityQueue: a thread-safe min-heap of objects ordered by an unsigned
// priority (smaller is served first), with a creation-time tie-break.
//
//   auto queue = ov::OVPriorityQueue<Job>::make();        // mode 0: oldest first
//   queue->add(job, 5);
//   queue->add(other);                                    // priority 0x7FFFFFFF
//   std::shared_ptr<Job> next = queue->poll();            // job
//
// Contract:
// - Tie-break modes are plain integers: 0 (and anything other than 1) serves
//   the older of two equal-priority nodes first, 1 the newer. Each node keeps
//   the mode the queue had when the node was made, and the node's own mode
//   decides its comparisons, so changing `tieBreakerMode` later does not
//   reorder nodes already queued.
// - `createdAt` is strictly increasing across all nodes of the process, so
//   two nodes made one after another never tie on time (first-in first-out
//   holds in mode 0 even for nodes made within the same clock tick).
// - Heap positions follow fixed arithmetic (root 0, children 2i+1 and 2i+2,
//   parent computed in single precision, see parentIndexForNodeAtIndex);
//   bubble-down prefers the left child on a tie.
// - Objects are found by identity (pointer equality), never by value.
// - add/peek/poll/count/removeAllObjects/removeObject/removeObjectAtIndex/
//   containsObject/indexOfObject run under one re-entrant lock of the queue
//   (a RecursiveSpinLock: waiters spin, then yield);
//   itemAtIndex and the heap-maintenance methods do not lock (they are meant
//   to be called under the lock or from one thread).
// - Out-of-range positions given to itemAtIndex/removeObjectAtIndex are
//   refused with a log line (an empty pointer / no change).
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "OVUtility/Collections/Description.h"
#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/Date.h"
#include "OVUtility/Platform/RecursiveSpinLock.h"

namespace ov {

namespace detail {
// Now, but strictly later than every date returned before in this process.
OV_API Date priorityQueueNodeCreationDate();
// Parent position arithmetic: (i - 1) as float, halved, floored into 32 bits.
OV_API std::int64_t priorityQueueParentIndex(std::int64_t index);
// The same, with integers where single precision is exact (up to 2^24).
inline std::int64_t priorityQueueParentIndexFast(std::int64_t index) {
    if (index >= 1 && index <= (std::int64_t{1} << 24)) return (index - 1) >> 1;
    return priorityQueueParentIndex(index);
}
OV_API void logPriorityQueueIndexRefused(const char* function, std::int64_t index,
                                         std::size_t count);
}  // namespace detail

// One queued object with its priority, creation time and tie-break mode.
// A small value: the heap stores nodes in place and swaps them.
template <typename T>
class OVPriorityQueueNode {
  public:
    static OVPriorityQueueNode nodeWithObject(std::shared_ptr<T> object, std::uint64_t priority,
                                              std::int64_t tieBreakerMode) {
        return OVPriorityQueueNode(std::move(object), priority,
                                   detail::priorityQueueNodeCreationDate(), tieBreakerMode);
    }

    OVPriorityQueueNode(std::shared_ptr<T> object, std::uint64_t priority, Date createdAt,
                        std::int64_t tieBreakerMode)
        : object_(std::move(object)),
          priority_(priority),
          createdAt_(createdAt),
          tieBreakerMode_(tieBreakerMode) {}

    const std::shared_ptr<T>& object() const { return object_; }
    std::uint64_t priority() const { return priority_; }
    Date createdAt() const { return createdAt_; }
    std::int64_t tieBreakerMode() const { return tieBreakerMode_; }

    // Served before `other`. An absent other is never larger or smaller.
    bool isSmallerThanNode(const OVPriorityQueueNode* other) const {
        return other && smallerThan(*other);
    }
    bool isLargerThanNode(const OVPriorityQueueNode* other) const {
        return other && largerThan(*other);
    }

    // "<object description> [<priority>]", e.g. "job [5]".
    std::string description() const {
        return fmt::format("{} [{}]", object_ ? describe(*object_) : std::string("(null)"),
                           priority_);
    }

  private:
    template <typename>
    friend class OVPriorityQueue;

    // Strictly earlier / strictly later (an ordered comparison of the dates).
    static bool beforeDate(Date self, Date other) { return self < other; }
    static bool afterDate(Date self, Date other) { return self > other; }

    bool smallerThan(const OVPriorityQueueNode& other) const {
        if (priority_ != other.priority_) return priority_ < other.priority_;
        if (tieBreakerMode_ == 1) return beforeDate(other.createdAt_, createdAt_);
        return beforeDate(createdAt_, other.createdAt_);
    }
    bool largerThan(const OVPriorityQueueNode& other) const {
        if (priority_ != other.priority_) return priority_ > other.priority_;
        if (tieBreakerMode_ == 1) return afterDate(other.createdAt_, createdAt_);
        return afterDate(createdAt_, other.createdAt_);
    }

    std::shared_ptr<T> object_;
    std::uint64_t priority_;
    Date createdAt_;
    std::int64_t tieBreakerMode_;
};

template <typename T>
class OVPriorityQueue : public std::enable_shared_from_this<OVPriorityQueue<T>> {
  public:
    using Node = OVPriorityQueueNode<T>;
    // "Not found" position, the platform's NSNotFound.
    static constexpr std::uint64_t NotFound = 0x7FFFFFFFFFFFFFFFull;
    // Priority given by `add(object)` without one.
    static constexpr std::uint64_t DefaultPriority = 2147483647;
    static constexpr std::int64_t TieBreakerModeOldestFirst = 0;
    static constexpr std::int64_t TieBreakerModeNewestFirst = 1;

    static std::shared_ptr<OVPriorityQueue> make() { return queueWithTieBreakerMode(0); }
    static std::shared_ptr<OVPriorityQueue> queue() { return make(); }
    static std::shared_ptr<OVPriorityQueue> queueWithTieBreakerMode(std::int64_t mode) {
        return std::shared_ptr<OVPriorityQueue>(new OVPriorityQueue(mode));
    }

    OVPriorityQueue(const OVPriorityQueue&) = delete;
    OVPriorityQueue& operator=(const OVPriorityQueue&) = delete;

    std::int64_t tieBreakerMode() const {
        std::lock_guard lock(mutex_);
        return tieBreakerMode_;
    }
    // Applies to nodes added from now on.
    void setTieBreakerMode(std::int64_t mode) {
        std::lock_guard lock(mutex_);
        tieBreakerMode_ = mode;
    }

    // A copy of the heap array, root first (empty before the first add).
    std::vector<Node> heap() const {
        std::lock_guard lock(mutex_);
        return heap_ ? *heap_ : std::vector<Node>{};
    }

    void add(std::shared_ptr<T> object, std::uint64_t priority) {
        std::lock_guard lock(mutex_);
        if (!object) return;
        if (!heap_) {
            heap_.emplace();
            heap_->reserve(10);
        }
        heap_->push_back(Node::nodeWithObject(std::move(object), priority, tieBreakerMode_));
        if (heap_->size() >= 2) bubbleUp();
    }
    void add(std::shared_ptr<T> object) { add(std::move(object), DefaultPriority); }

    std::shared_ptr<T> peek() const {
        std::lock_guard lock(mutex_);
        if (!heap_ || heap_->empty()) return nullptr;
        return heap_->front().object();
    }

    std::shared_ptr<T> poll() {
        std::lock_guard lock(mutex_);
        if (!heap_ || heap_->empty()) return nullptr;
        auto& heap = *heap_;
        std::shared_ptr<T> object = std::move(heap.front().object_);
        if (heap.size() == 1) {
            heap.pop_back();
        } else {
            // The last node takes the root's place and bubbles down: the same
            // arrangement as swapping it with the root, removing the root
            // and calling bubbleDown(), without storing it at the root first.
            Node last = std::move(heap.back());
            heap.pop_back();
            siftDown(0, std::move(last));
        }
        return object;
    }

    std::uint64_t count() const {
        std::lock_guard lock(mutex_);
        return heap_ ? heap_->size() : 0;
    }

    void removeAllObjects() {
        std::lock_guard lock(mutex_);
        if (heap_) heap_->clear();
    }

    // Removes every node holding this very object.
    void removeObject(const std::shared_ptr<T>& object) {
        std::lock_guard lock(mutex_);
        for (std::uint64_t i = indexOfObject(object); i != NotFound; i = indexOfObject(object))
            removeObjectAtIndex(i);
    }

    void removeObjectAtIndex(std::uint64_t index) {
        std::lock_guard lock(mutex_);
        const std::size_t n = heap_ ? heap_->size() : 0;
        if (index >= n) {
            detail::logPriorityQueueIndexRefused("removeObjectAtIndex()",
                                                 static_cast<std::int64_t>(index), n);
            return;
        }
        if (index == n - 1) {
            heap_->pop_back();
            return;
        }
        const auto i = static_cast<std::int64_t>(index);
        swapNodeAtIndex(i, static_cast<std::int64_t>(n - 1));
        heap_->pop_back();
        // Identity of the node now at i: its object and creation time (dates
        // are unique per node).
        const Date moved = (*heap_)[index].createdAt();
        const T* movedObject = (*heap_)[index].object().get();
        bubbleUpStartingAtIndex(i);
        const Node& now = (*heap_)[index];
        if (now.createdAt() == moved && now.object().get() == movedObject)
            bubbleDownStartingAtIndex(i);
    }

    bool containsObject(const std::shared_ptr<T>& object) const {
        std::lock_guard lock(mutex_);
        return indexOfObject(object) != NotFound;
    }

    // First heap position (array order) whose object is this very object.
    std::uint64_t indexOfObject(const std::shared_ptr<T>& object) const {
        std::lock_guard lock(mutex_);
        if (!heap_) return NotFound;
        for (std::size_t i = 0; i < heap_->size(); ++i)
            if ((*heap_)[i].object().get() == object.get()) return i;
        return NotFound;
    }

    // Object at a heap position; no lock. Out of range: empty pointer.
    std::shared_ptr<T> itemAtIndex(std::int64_t index) const {
        const std::size_t n = heap_ ? heap_->size() : 0;
        if (index < 0 || static_cast<std::uint64_t>(index) >= n) {
            detail::logPriorityQueueIndexRefused("itemAtIndex()", index, n);
            return nullptr;
        }
        return (*heap_)[static_cast<std::size_t>(index)].object();
    }

    // Heap maintenance (no lock of their own).
    void bubbleUp() {
        if (heap_ && !heap_->empty())
            bubbleUpStartingAtIndex(static_cast<std::int64_t>(heap_->size() - 1));
    }

    void bubbleUpStartingAtIndex(std::int64_t index) {
        if (!heap_ || heap_->empty()) return;
        std::int64_t i = index;
        std::int64_t p = parentIndexForNodeAtIndex(i);
        if (p < 0) return;
        // Same comparisons and final arrangement as swapping the node with
        // each passed parent, but the node is held aside and parents move
        // down into the hole (one move per level instead of a swap).
        Node* heap = heap_->data();
        if (heap[at(p)].smallerThan(heap[at(i)])) return;
        // A parent that is not strictly smaller (also an exact tie) is passed.
        Node moving = std::move(heap[at(i)]);
        do {
            heap[at(i)] = std::move(heap[at(p)]);
            i = p;
            p = parentIndexForNodeAtIndex(p);
        } while (p >= 0 && !heap[at(p)].smallerThan(moving));
        heap[at(i)] = std::move(moving);
    }

    void bubbleDown() { bubbleDownStartingAtIndex(0); }

    void bubbleDownStartingAtIndex(std::int64_t index) {
        if (!heap_ || heap_->empty()) return;
        auto& heap = *heap_;
        const std::size_t i = at(index);
        // Nothing moves unless a child is smaller: check before lifting the
        // node out of its place.
        const std::size_t l = 2 * i + 1;
        const std::size_t last = heap.size() - 1;
        if (l > last) return;
        if (!heap[i].largerThan(heap[l]) && !(l + 1 <= last && heap[i].largerThan(heap[l + 1])))
            return;
        Node moving = std::move(heap[i]);
        siftDown(i, std::move(moving));
    }

    void swapNodeAtIndex(std::int64_t a, std::int64_t b) {
        if (a == b) return;
        auto& heap = *heap_;
        std::swap(heap[static_cast<std::size_t>(a)], heap[static_cast<std::size_t>(b)]);
    }

    // Index arithmetic, root at 0. Children beyond the last position are -1.
    std::int64_t parentIndexForNodeAtIndex(std::int64_t index) const {
        return detail::priorityQueueParentIndexFast(index);
    }
    std::int64_t leftChildIndexForNodeAtIndex(std::int64_t index) const {
        return childIndex(2 * static_cast<std::uint64_t>(index) + 1);
    }
    std::int64_t rightChildIndexForNodeAtIndex(std::int64_t index) const {
        return childIndex(2 * static_cast<std::uint64_t>(index) + 2);
    }

  private:
    explicit OVPriorityQueue(std::int64_t mode) : tieBreakerMode_(mode) {}

    static std::size_t at(std::int64_t index) { return static_cast<std::size_t>(index); }

    // The bubble-down walk for `moving`, whose place is the hole at `hole`:
    // the comparisons are those of the swapping walk (the moving node
    // against the left child, then the winner against the right child; the
    // left one wins a tie), but smaller children move up into the hole and
    // the node is stored once, where the walk ends.
    void siftDown(std::size_t hole, Node moving) {
        Node* heap = heap_->data();
        const std::size_t last = heap_->size() - 1;
        for (;;) {
            const std::size_t l = 2 * hole + 1;  // no left child: no right child either
            if (l > last) break;
            const Node* candidate = &moving;
            std::size_t candidateIndex = hole;
            if (candidate->largerThan(heap[l])) {
                candidate = &heap[l];
                candidateIndex = l;
            }
            if (l + 1 <= last && candidate->largerThan(heap[l + 1])) candidateIndex = l + 1;
            if (candidateIndex == hole) break;
            heap[hole] = std::move(heap[candidateIndex]);
            hole = candidateIndex;
        }
        heap[hole] = std::move(moving);
    }

    std::int64_t childIndex(std::uint64_t child) const {
        // Unsigned comparison against count - 1: an empty heap never refuses.
        const std::uint64_t last = static_cast<std::uint64_t>(heap_ ? heap_->size() : 0) - 1;
        return child > last ? -1 : static_cast<std::int64_t>(child);
    }

    // Re-entrant (removeObject calls indexOfObject); a spinning lock because
    // add and poll hold it for a few dozen nanoseconds.
    mutable RecursiveSpinLock mutex_;
    std::optional<std::vector<Node>> heap_;  // absent until the first add
    std::int64_t tieBreakerMode_;
};

}  // namespace ov
