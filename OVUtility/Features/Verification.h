// ov::Verification: a holder of values that callers collect beside the
// features (for example the states a check saw). It has no operations.
//
//   auto seen = std::make_shared<ov::Verification<bool>>();
//   seen->values.push_back(feature->enabled());
#pragma once

#include <vector>

namespace ov {

template <typename Element>
class Verification {
  public:
    Verification() = default;
    explicit Verification(std::vector<Element> values) : values(std::move(values)) {}

    std::vector<Element> values;
};

}  // namespace ov
