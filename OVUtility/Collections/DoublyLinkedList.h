// DoublyLinkedList<T>: a sequence with constant-time insertion and removal at
// both ends, and its iterator.
//
//   ov::DoublyLinkedList<int> list{1, 2, 3};
//   list.addToHead(0);
//   list.removeFromTail();            // 3
//   for (int v : list) use(v);        // 0, 1, 2
//   list.description();               // "DoublyLinkedList: [\n      0\n ...]"
//
// Ownership runs one way: the list owns its head, each node owns its
// successor, and the tail and every `previous` link are weak. Dropping a node
// therefore frees it; freeing a long chain is iterative (a million-node list
// is destroyed without deep recursion) and stops at a node still held
// elsewhere, for example by a live iterator, which keeps the rest of the
// chain readable. No locking: confine an instance to one thread.
// Counter overflow is a fatal error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "OVUtility/Collections/Description.h"
#include "OVUtility/Collections/LinkedNodes.h"
#include "OVUtility/Platform/Fatal.h"

namespace ov {

template <typename T>
class DoublyLinkedList;

namespace detail {
template <typename T>
struct DoublyLinkedListNode {
    explicit DoublyLinkedListNode(T v) : value(std::move(v)) {}
    ~DoublyLinkedListNode() { releaseSuccessors(next); }
    DoublyLinkedListNode(const DoublyLinkedListNode&) = delete;
    DoublyLinkedListNode& operator=(const DoublyLinkedListNode&) = delete;

    std::shared_ptr<DoublyLinkedListNode> next;    // owning
    std::weak_ptr<DoublyLinkedListNode> previous;  // cleared when that node goes
    T value;
};
}  // namespace detail

// Iterator value: holds the node whose value comes next (owning, so the rest
// of the chain stays alive while the iterator does).
template <typename T>
class DoublyLinkedListIterator {
  public:
    using Node = detail::DoublyLinkedListNode<T>;
    DoublyLinkedListIterator() = default;
    explicit DoublyLinkedListIterator(std::shared_ptr<Node> start)
        : currentNode(std::move(start)) {}

    // The next value, or none at the end.
    std::optional<T> next() {
        if (!currentNode) return std::nullopt;
        std::optional<T> value(currentNode->value);
        currentNode = currentNode->next;
        return value;
    }

    std::shared_ptr<Node> currentNode;
};

template <typename T>
class DoublyLinkedList {
    using Node = detail::DoublyLinkedListNode<T>;

  public:
    // Forward iterator for range-for and standard algorithms. Like
    // makeIterator(), it owns the node it stands on, so the list may change
    // inside the loop: a removed node stays readable until the iterator moves
    // on, and the loop follows the chain as it is at each step.
    class const_iterator {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = const T*;
        using reference = const T&;

        const_iterator() = default;
        explicit const_iterator(std::shared_ptr<const Node> node) : node_(std::move(node)) {}
        reference operator*() const { return node_->value; }
        pointer operator->() const { return &node_->value; }
        const_iterator& operator++() {
            node_ = node_->next;
            return *this;
        }
        const_iterator operator++(int) {
            auto copy = *this;
            ++*this;
            return copy;
        }
        friend bool operator==(const const_iterator&, const const_iterator&) = default;

      private:
        std::shared_ptr<const Node> node_;
    };
    using iterator = const_iterator;
    using value_type = T;

    DoublyLinkedList() = default;
    DoublyLinkedList(std::initializer_list<T> values) {
        for (const auto& v : values) addToTail(v);
    }
    template <typename Range>
    requires(!std::is_same_v<std::remove_cvref_t<Range>,
                             DoublyLinkedList>) explicit DoublyLinkedList(const Range& sequence) {
        for (const auto& v : sequence) addToTail(v);
    }
    DoublyLinkedList(const DoublyLinkedList&) = delete;
    DoublyLinkedList& operator=(const DoublyLinkedList&) = delete;
    DoublyLinkedList(DoublyLinkedList&& other) noexcept { *this = std::move(other); }
    DoublyLinkedList& operator=(DoublyLinkedList&& other) noexcept {
        if (this != &other) {
            clearChain();
            head_ = std::move(other.head_);
            tail_ = std::move(other.tail_);
            count_ = std::exchange(other.count_, 0);
        }
        return *this;
    }
    ~DoublyLinkedList() { clearChain(); }

    std::int64_t count() const { return count_; }
    bool isEmpty() const { return count_ == 0; }

    void addToHead(T value) {
        auto node = std::make_shared<Node>(std::move(value));
        if (!isEmpty()) {
            head_->previous = node;
            node->next = std::move(head_);
            head_ = std::move(node);
        } else {
            tail_ = node;
            head_ = std::move(node);
        }
        increment();
    }

    void addToTail(T value) {
        auto node = std::make_shared<Node>(std::move(value));
        if (!isEmpty()) {
            auto last = tail_.lock();
            node->previous = last;
            tail_ = node;
            last->next = std::move(node);
        } else {
            tail_ = node;
            head_ = std::move(node);
        }
        increment();
    }

    std::optional<T> peekAtHead() const {
        if (!head_) return std::nullopt;
        return head_->value;
    }
    std::optional<T> peekAtTail() const {
        auto last = tail_.lock();
        if (!last) return std::nullopt;
        return last->value;
    }

    std::optional<T> removeFromHead() {
        if (count_ == 0) return std::nullopt;
        std::optional<T> value(head_->value);
        std::shared_ptr<Node> old = std::move(head_);
        head_ = old->next;
        old.reset();  // frees the old head (unless an iterator holds it)
        if (head_) {
            head_->previous.reset();
        } else {
            tail_.reset();  // the tail was the old head, possibly still held by an iterator
        }
        --count_;
        return value;
    }

    std::optional<T> removeFromTail() {
        if (count_ == 0) return std::nullopt;
        auto last = tail_.lock();
        std::optional<T> value(last->value);
        if (auto before = last->previous.lock()) {
            tail_ = before;
            last.reset();
            before->next.reset();  // drops the old tail
        } else {
            last.reset();
            head_.reset();  // the only node
            tail_.reset();
        }
        --count_;
        return value;
    }

    DoublyLinkedListIterator<T> makeIterator() const { return DoublyLinkedListIterator<T>(head_); }
    const_iterator begin() const { return const_iterator(head_); }
    const_iterator end() const { return const_iterator(); }

    // "DoublyLinkedList: [\n" + "      <element>\n" per element + "]".
    std::string description() const {
        std::string text = "DoublyLinkedList: [\n";
        for (const auto& value : *this) {
            text += "      ";
            text += describe(value);
            text += "\n";
        }
        text += "]";
        return text;
    }

  private:
    void increment() {
        if (__builtin_add_overflow(count_, 1, &count_))
            ov::fatal("DoublyLinkedList: count overflow");
    }
    void clearChain() {
        tail_.reset();
        detail::releaseSuccessors(head_);
        count_ = 0;
    }

    std::shared_ptr<Node> head_;
    std::weak_ptr<Node> tail_;
    std::int64_t count_ = 0;
};

}  // namespace ov
