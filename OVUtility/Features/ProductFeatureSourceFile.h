// ov::ProductFeatureSourceFile and ov::ProductFeatureSet: where a feature's
// definition came from, and which feature files a load reads.
//
//   auto source = ov::productFeatureSourceFile("develop-features");  // develop
//   ov::rawValue(source)     == "develop-features"   // file name without extension
//   ov::description(source)  == "Develop"
//   ov::productFeatureSet(1) == ov::ProductFeatureSet::develop
//
// `none` means code defined the feature and no file did. Unknown raw values
// give no value.
#pragma once

#include <optional>
#include <string_view>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

enum class ProductFeatureSourceFile { release, develop, local, none };

OV_API std::string_view rawValue(ProductFeatureSourceFile source);
OV_API std::string_view description(ProductFeatureSourceFile source);
OV_API std::optional<ProductFeatureSourceFile> productFeatureSourceFile(std::string_view rawValue);

// release (0): the release and local files; develop (1): the develop file too.
enum class ProductFeatureSet : int { release = 0, develop = 1 };

OV_API std::optional<ProductFeatureSet> productFeatureSet(long long rawValue);

}  // namespace ov
