// ov::DiscardableContent: the interface of objects whose content may be thrown
// away when memory is short, unless someone is using it right now.
//
//   if (item->beginContentAccess()) {     // false: content already discarded
//       use(item);
//       item->endContentAccess();
//   }
//
// ov::ObjectCache calls `discardContentIfPossible` on such values when it
// evicts (limits, memory pressure) and never drops a value whose content
// access is open. Implementations must be thread-safe: the cache may discard
// from another thread while a user begins or ends an access.
#pragma once

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class OV_API DiscardableContent {
  public:
    virtual ~DiscardableContent() = default;

    // Opens an access; false when the content is already discarded.
    virtual bool beginContentAccess() = 0;
    // Closes an access opened by beginContentAccess.
    virtual void endContentAccess() = 0;
    // Discards the content when no access is open.
    virtual void discardContentIfPossible() = 0;
    virtual bool isContentDiscarded() const = 0;
};

}  // namespace ov
