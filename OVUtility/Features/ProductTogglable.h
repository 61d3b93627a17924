// ov::ProductTogglable: anything with an effective on/off value. Product
// features conform through their effective `enabled`.
//
//   void show(const ov::ProductTogglable& toggle) { if (toggle.enabled()) ...; }
#pragma once

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class OV_API ProductTogglable {
  public:
    virtual ~ProductTogglable() = default;
    virtual bool enabled() const = 0;
};

}  // namespace ov
