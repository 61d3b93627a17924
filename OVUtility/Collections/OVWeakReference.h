// OVWeakReference: a weak pointer that compares equal to its target.
//
//   auto ref = ov::OVWeakReference<Player>(player);
//   ref.isEqual(player);                          // true while player lives
//   ref.isEqual(ov::OVWeakReference(player));     // false: not the target itself
//
// Equality is deliberately asymmetric: a reference is equal to the very
// object it currently points at (identity), never to another reference, so a
// list of references can be searched and edited with the plain targets. Once
// the target is gone the reference points at nothing and equals only an
// empty pointer; `hash` is then 0.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace ov {

template <typename T>
class OVWeakReference {
  public:
    OVWeakReference() = default;
    explicit OVWeakReference(const std::shared_ptr<T>& object) : target_(object) {}

    std::shared_ptr<T> nonRetainedObject() const { return target_.lock(); }

    // True exactly when `object` is the object referenced now.
    template <typename U>
    bool isEqual(const std::shared_ptr<U>& object) const {
        return isEqual(static_cast<const void*>(object.get()));
    }
    bool isEqual(const void* object) const {
        return static_cast<const void*>(target_.lock().get()) == object;
    }
    // Another reference is a different object: never equal (see above).
    bool isEqual(const OVWeakReference& other) const {
        return isEqual(static_cast<const void*>(&other));
    }

    // The target's identity hash; 0 once the target is gone.
    std::size_t hash() const {
        auto target = target_.lock();
        return target ? std::hash<const void*>{}(static_cast<const void*>(target.get())) : 0;
    }

  private:
    std::weak_ptr<T> target_;
};

}  // namespace ov
