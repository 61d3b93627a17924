// Helpers shared by the library's linked node types (OVDequeueNode and the
// nodes of DoublyLinkedList): nodes own their successor through `next`, so a
// naive destructor would recurse once per node and overflow the stack on a
// long chain.
//
//   ~Node() { ov::detail::releaseSuccessors(next); }
//
// `releaseSuccessors` detaches the successor and walks forward, destroying
// each node that nothing else holds after first detaching *its* successor, so
// every destructor in the chain finds an empty `next`. The walk stops at the
// first node still held elsewhere (an iterator, a tail pointer, a caller).
#pragma once

#include <memory>
#include <utility>

namespace ov::detail {

template <typename Node>
void releaseSuccessors(std::shared_ptr<Node>& next) {
    std::shared_ptr<Node> current = std::move(next);
    // use_count is exact here: these containers are confined to one thread
    // (or used under their own lock) while a chain is being released.
    while (current && current.use_count() == 1) {
        std::shared_ptr<Node> following = std::move(current->next);
        current.reset();  // its `next` is empty: no recursion
        current = std::move(following);
    }
}

}  // namespace ov::detail
