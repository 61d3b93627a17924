// OVQueue: a first-in first-out queue of objects on an OVDequeue. New objects
// go in at the dequeue's head, the oldest comes out at its tail.
//
//   auto q = ov::OVQueue<Track>::make();
//   q->add(a); q->add(b);
//   q->poll();      // a
//
// Each call is atomic (the dequeue's lock); a sequence such as `isEmpty`
// followed by `poll` is not. `isEmpty` looks at the oldest object, not at
// `count`: after adding an empty pointer, `count` is 1 yet `isEmpty` is true.
#pragma once

#include <cstdint>
#include <memory>

#include "OVUtility/Collections/OVDequeue.h"

namespace ov {

template <typename T>
class OVQueue {
  public:
    static std::shared_ptr<OVQueue> make() { return std::make_shared<OVQueue>(); }
    static std::shared_ptr<OVQueue> queue() { return make(); }

    void add(std::shared_ptr<T> object) { linkedList_->addFirstObject(std::move(object)); }
    std::shared_ptr<T> poll() { return linkedList_->removeLastObject(); }
    std::shared_ptr<T> peek() const { return linkedList_->peekLastObject(); }
    bool isEmpty() const { return linkedList_->peekLastObject() == nullptr; }
    bool isNotEmpty() const { return !isEmpty(); }
    std::uint64_t count() const { return linkedList_->count(); }

    const std::shared_ptr<OVDequeue<T>>& linkedList() const { return linkedList_; }

  private:
    std::shared_ptr<OVDequeue<T>> linkedList_ = OVDequeue<T>::make();
};

}  // namespace ov
