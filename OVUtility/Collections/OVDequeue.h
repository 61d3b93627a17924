// OVDequeue: a locked double-ended queue of objects on a doubly linked chain
// of OVDequeueNode, and the node type itself.
//
//   auto dq = ov::OVDequeue<Track>::make();
//   dq->addLastObject(a);
//   dq->addFirstObject(b);           // b, a
//   dq->removeLastObject();          // a
//   dq->count();                     // 1
//
// Contract:
// - Every method runs under one re-entrant lock of the dequeue, so methods
//   may call each other and single calls are atomic across threads.
// - Empty object pointers are stored like any other object.
// - `removeObject` finds the first node, from the head, holding this very
//   object (identity). It decrements the count once more after unlinking, so
//   removing the head or the tail this way drops `count` by two, and emptying
//   a one-element dequeue this way wraps `count` to 18446744073709551615.
//   This is long-standing behaviour that callers may depend on; it is kept.
// - Nodes own their successor and hold their predecessor weakly, so a chain
//   let go by `removeAllObjects` is freed (iteratively: long chains do not
//   exhaust the stack).
// - `head()`/`tail()` hand out the end nodes for inspection; walking their
//   links is only safe while no other thread changes the dequeue.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "OVUtility/Collections/LinkedNodes.h"

namespace ov {

template <typename T>
class OVDequeueNode {
  public:
    static std::shared_ptr<OVDequeueNode> nodeWithData(std::shared_ptr<T> data) {
        return std::make_shared<OVDequeueNode>(std::move(data));
    }
    explicit OVDequeueNode(std::shared_ptr<T> data) : data(std::move(data)) {}
    ~OVDequeueNode() { detail::releaseSuccessors(next); }
    OVDequeueNode(const OVDequeueNode&) = delete;
    OVDequeueNode& operator=(const OVDequeueNode&) = delete;

    std::shared_ptr<OVDequeueNode> next;    // towards the tail (owning)
    std::weak_ptr<OVDequeueNode> previous;  // towards the head
    std::shared_ptr<T> data;                // may be empty
};

template <typename T>
class OVDequeue : public std::enable_shared_from_this<OVDequeue<T>> {
  public:
    using Node = OVDequeueNode<T>;

    static std::shared_ptr<OVDequeue> make() { return std::make_shared<OVDequeue>(); }
    OVDequeue() = default;
    OVDequeue(const OVDequeue&) = delete;
    OVDequeue& operator=(const OVDequeue&) = delete;
    ~OVDequeue() {
        // Release from the head so the chain is freed front to back.
        tail_.reset();
        detail::releaseSuccessors(head_);
    }

    void addFirstObject(std::shared_ptr<T> object) {
        std::lock_guard lock(mutex_);
        auto node = Node::nodeWithData(std::move(object));
        if (head_ && tail_) {
            head_->previous = node;
            node->next = std::move(head_);
            head_ = std::move(node);
        } else {
            head_ = node;
            tail_ = std::move(node);
        }
        ++totalItems_;
    }

    void addLastObject(std::shared_ptr<T> object) {
        std::lock_guard lock(mutex_);
        auto node = Node::nodeWithData(std::move(object));
        if (head_ && tail_) {
            node->previous = tail_;
            tail_->next = node;
            tail_ = std::move(node);
        } else {
            head_ = node;
            tail_ = std::move(node);
        }
        ++totalItems_;
    }

    std::shared_ptr<T> removeFirstObject() {
        std::lock_guard lock(mutex_);
        if (!head_) return nullptr;
        std::shared_ptr<Node> removed = head_;
        if (head_ == tail_) {
            head_.reset();
            tail_.reset();
        } else {
            head_ = removed->next;
            head_->previous.reset();
        }
        --totalItems_;
        return removed->data;
    }

    std::shared_ptr<T> removeLastObject() {
        std::lock_guard lock(mutex_);
        if (!tail_) return nullptr;
        std::shared_ptr<Node> removed = tail_;
        if (head_ == tail_) {
            head_.reset();
            tail_.reset();
        } else {
            tail_ = removed->previous.lock();
            tail_->next.reset();
        }
        --totalItems_;
        return removed->data;
    }

    void removeObject(const std::shared_ptr<T>& object) {
        std::lock_guard lock(mutex_);
        std::shared_ptr<Node> node = head_;
        while (node && node->data.get() != object.get()) node = node->next;
        if (!node) return;
        if (node == head_) {
            removeFirstObject();
        } else if (node == tail_) {
            removeLastObject();
        } else {
            auto before = node->previous.lock();
            auto after = node->next;
            after->previous = before;
            before->next = std::move(after);
        }
        --totalItems_;  // on top of removeFirst/LastObject's own decrement: kept
    }

    void removeAllObjects() {
        std::lock_guard lock(mutex_);
        tail_.reset();
        head_.reset();
        totalItems_ = 0;
    }

    std::shared_ptr<T> peekFirstObject() const {
        std::lock_guard lock(mutex_);
        return head_ ? head_->data : nullptr;
    }
    std::shared_ptr<T> peekLastObject() const {
        std::lock_guard lock(mutex_);
        return tail_ ? tail_->data : nullptr;
    }
    std::uint64_t count() const {
        std::lock_guard lock(mutex_);
        return totalItems_;
    }

    std::shared_ptr<Node> head() const {
        std::lock_guard lock(mutex_);
        return head_;
    }
    std::shared_ptr<Node> tail() const {
        std::lock_guard lock(mutex_);
        return tail_;
    }

  private:
    mutable std::recursive_mutex mutex_;
    std::shared_ptr<Node> head_;
    std::shared_ptr<Node> tail_;
    std::uint64_t totalItems_ = 0;  // unsigned: wraps, see removeObject
};

}  // namespace ov
