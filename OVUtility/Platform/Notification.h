// ov::Notification and ov::AnyObject: the value that the notification centre
// delivers (a name, an optional sender object and user information as JSON).
//
//   ov::Notification n{"featureDidChangeNotificationName", ov::AnyObject(feature), {}};
//   if (auto feature = n.object.as<ov::ProductFeature>()) { ... }
//
// AnyObject is the type-erased "any object" of the platform: a shared pointer
// to an object of any class plus the type it was stored as. Identity (what a
// sender filter compares) is the object's address. `as<T>()` answers only for
// the exact type the object was stored as, so a wrong guess gives null rather
// than a bad cast.
#pragma once

#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>

#include <nlohmann/json.hpp>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

using NotificationName = std::string;

class AnyObject {
  public:
    AnyObject() = default;
    AnyObject(std::nullptr_t) {}
    template <typename T>
    AnyObject(std::shared_ptr<T> object)
        : pointer_(std::const_pointer_cast<std::remove_const_t<T>>(std::move(object))),
          type_(pointer_ ? &typeid(std::remove_const_t<T>) : nullptr) {}

    explicit operator bool() const { return pointer_ != nullptr; }
    const void* address() const { return pointer_.get(); }
    const std::shared_ptr<void>& pointer() const { return pointer_; }

    // The object when it was stored as exactly `T`, else null.
    template <typename T>
    std::shared_ptr<T> as() const {
        if (!pointer_ || *type_ != typeid(std::remove_const_t<T>)) return nullptr;
        return std::static_pointer_cast<T>(pointer_);
    }

    // Identity: the same object (or both empty).
    friend bool operator==(const AnyObject& a, const AnyObject& b) {
        return a.address() == b.address();
    }

  private:
    std::shared_ptr<void> pointer_;
    const std::type_info* type_ = nullptr;
};

struct OV_API Notification {
    NotificationName name;
    AnyObject object;
    nlohmann::json userInfo;  // null when the poster gave none
};

}  // namespace ov
