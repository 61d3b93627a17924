// ov::BlockTimer: a running repeating timer whose only operation is
// `invalidate()`. Timer providers hand timers out as BlockTimer; dropping the
// last reference also stops the timer.
//
//   std::shared_ptr<ov::BlockTimer> timer = ov::DispatchTimerFactory().makeTimer(0.25, queue, 0,
//   tick); timer->invalidate();     // from any thread, also from inside `tick`
//
// `ov::invalidate(source)` is the same operation on a raw timer source: the
// event handler is replaced with none, then the source is cancelled.
#pragma once

#include <memory>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchSource.h"

namespace ov {

class OV_API BlockTimer {
  public:
    virtual ~BlockTimer() = default;
    virtual void invalidate() = 0;
};

// Clears the handler, then cancels the source. Safe from any thread,
// including the source's own handler.
inline void invalidate(DispatchSource& source) {
    source.setEventHandler(nullptr);
    source.cancel();
}

// A dispatch timer source seen as a BlockTimer. Destroying it cancels the source.
class OV_API DispatchSourceTimer final : public BlockTimer {
  public:
    explicit DispatchSourceTimer(std::shared_ptr<DispatchSource> source)
        : source_(std::move(source)) {}
    ~DispatchSourceTimer() override { ov::invalidate(*source_); }
    void invalidate() override { ov::invalidate(*source_); }
    const std::shared_ptr<DispatchSource>& source() const { return source_; }

  private:
    std::shared_ptr<DispatchSource> source_;
};

}  // namespace ov
