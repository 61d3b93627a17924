// ov::NotificationReceiver: owns a set of notification-centre registrations,
// at most one per notification name, and removes them all when destroyed.
//
//   class Player {
//       ov::NotificationReceiver receiver_;   // registrations end with the player
//     public:
//       Player() {
//           receiver_.addObserver("didLogOut", [this](const ov::Notification&) { stop(); });
//       }
//   };
//
// `add` for a name that is already registered first removes the old
// registration: the newest block wins. Removing an unknown name does nothing.
// The receiver holds its centre strongly. Like the platform's, it is meant to
// be used from one thread; the blocks run where their registrations say.
#pragma once

#include <functional>
#include <map>
#include <memory>

#include "OVUtility/Notifications/NotificationObserver.h"
#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/NotificationCenter.h"

namespace ov {

class OV_API NotificationReceiver {
  public:
    using Block = std::function<void(const Notification&)>;

    explicit NotificationReceiver(std::shared_ptr<NotificationCenter> notificationCenter =
                                      NotificationCenter::defaultCenter());
    ~NotificationReceiver();
    NotificationReceiver(const NotificationReceiver&) = delete;
    NotificationReceiver& operator=(const NotificationReceiver&) = delete;

    void add(const NotificationObserver& observer, Block block);
    // `add` with no sender filter and no queue.
    void addObserver(const NotificationName& name, Block block);
    void removeObserver(const NotificationName& name);
    void removeAll();

    const std::map<NotificationName, NotificationCenter::Token>& observers() const {
        return observers_;
    }
    const std::shared_ptr<NotificationCenter>& notificationCenter() const {
        return notificationCenter_;
    }

  private:
    std::map<NotificationName, NotificationCenter::Token> observers_;
    std::shared_ptr<NotificationCenter> notificationCenter_;
};

}  // namespace ov
