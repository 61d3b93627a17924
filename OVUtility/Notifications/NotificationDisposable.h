// ov::NotificationDisposable: one notification-centre registration that lasts
// as long as the disposable; ov::DisposableSlot: the one place an owner keeps
// such a disposable.
//
//   class NowPlayingView : public ov::DisposableSlot {   // or a DisposableSlot member
//     public:
//       void start() {
//           ov::runAndObserve(center, "themeDidChange", nullptr,
//                             [weak = weak_from_this()] { if (auto s = weak.lock()) s->restyle();
//                             })
//               ->disposed(*this);
//       }
//   };
//
// Disposables come only from `runAndObserve` (NotificationCenterAdditions.h);
// they have no public constructor. Destroying one removes its registration.
// `disposed(slot)` stores the disposable in the owner's slot, strongly, so the
// registration lives as long as the owner. An owner has one slot: attaching a
// second disposable replaces the first, which is released and, when nothing
// else holds it, unregisters. That one-per-owner rule is deliberate.
//
// The centre's block holds the user's block strongly: blocks should capture
// their owner weakly, or the owner and its registration keep each other alive.
#pragma once

#include <memory>
#include <mutex>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/NotificationCenter.h"

namespace ov {

class NotificationDisposable;

class OV_API DisposableSlot {
  public:
    DisposableSlot() = default;
    // Copies start empty: a registration belongs to one owner.
    DisposableSlot(const DisposableSlot&) {}
    DisposableSlot& operator=(const DisposableSlot&) { return *this; }
    ~DisposableSlot() = default;

    std::shared_ptr<NotificationDisposable> attachedDisposable() const;
    // Releases the attached disposable now.
    void clearDisposable();

  private:
    friend class NotificationDisposable;
    mutable std::mutex mutex_;
    std::shared_ptr<NotificationDisposable> disposable_;
};

class OV_API NotificationDisposable : public std::enable_shared_from_this<NotificationDisposable> {
  public:
    NotificationDisposable() = delete;
    NotificationDisposable(const NotificationDisposable&) = delete;
    NotificationDisposable& operator=(const NotificationDisposable&) = delete;
    ~NotificationDisposable();

    // Ties this registration to `owner` (replacing what the owner held).
    void disposed(DisposableSlot& owner);

    const NotificationCenter::Token& token() const { return token_; }
    const std::shared_ptr<NotificationCenter>& notificationCenter() const {
        return notificationCenter_;
    }

  private:
    friend OV_API std::shared_ptr<NotificationDisposable> makeNotificationDisposable(
        NotificationCenter::Token token, std::shared_ptr<NotificationCenter> center);
    NotificationDisposable(NotificationCenter::Token token,
                           std::shared_ptr<NotificationCenter> center)
        : token_(std::move(token)), notificationCenter_(std::move(center)) {}

    NotificationCenter::Token token_;
    std::shared_ptr<NotificationCenter> notificationCenter_;
};

}  // namespace ov
