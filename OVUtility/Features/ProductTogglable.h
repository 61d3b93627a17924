// ov::ProductTogglable: anything with an effective on/off value. Product
// features conform through their effective `enabled`.
//
//   void show(const ov::ProductTogglable& toggle) { if (toggle.enabled()) ...; }
#pragma once

namespace ov {

class ProductTogglable {
  public:
    virtual ~ProductTogglable() = default;
    virtual bool enabled() const = 0;
};

}  // namespace ov
