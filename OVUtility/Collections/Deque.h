// Deque<T>: a double-ended queue on a DoublyLinkedList<T>.
//
//   ov::Deque<int> d;
//   d.addLast(1); d.addFirst(0);
//   d.popLast();                  // 1
//   d.description();              // "Deque:\n    DoublyLinkedList: [\n      0\n]"
//
// All end operations are constant time; popping an empty deque gives none.
// No locking: confine an instance to one thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "OVUtility/Collections/DoublyLinkedList.h"

namespace ov {

template <typename T>
class Deque {
  public:
    Deque() = default;

    std::int64_t count() const { return backingList_.count(); }
    bool isEmpty() const { return backingList_.isEmpty(); }
    void addFirst(T value) { backingList_.addToHead(std::move(value)); }
    void addLast(T value) { backingList_.addToTail(std::move(value)); }
    std::optional<T> peekFirst() const { return backingList_.peekAtHead(); }
    std::optional<T> popFirst() { return backingList_.removeFromHead(); }
    std::optional<T> peekLast() const { return backingList_.peekAtTail(); }
    std::optional<T> popLast() { return backingList_.removeFromTail(); }

    auto begin() const { return backingList_.begin(); }
    auto end() const { return backingList_.end(); }

    std::string description() const { return "Deque:\n    " + backingList_.description(); }

  private:
    DoublyLinkedList<T> backingList_;
};

}  // namespace ov
