// ov::ProductFeatureController: loads the feature files and answers
// questions about the registry. No instances; every member is static.
//
//   ov::ProductFeatureController::setBundleToLoad(ov::Bundle::make("/opt/app/Resources"));
//   ov::ProductFeatureController::updateProductFeatures(ov::ProductFeatureSet::develop);
//   for (auto& f : ov::ProductFeatureController::allFeatures()) puts(f->description().c_str());
//
// A reload runs in six steps:
//   1. keep aside every registered feature whose source is `none` (made by code);
//   2. empty the registry (other feature objects are dropped from it; holders
//      keep stale objects);
//   3. read "release-features.json" (source `release`);
//   4. only for the `develop` set, read "develop-features.json" (source `develop`);
//   5. read "local-features.json" (source `local`);
//   6. put the kept-aside features back, replacing file-defined features of
//      the same identifier (so code-made features keep their identity and
//      their override, and win over the files).
// Each entry goes through find-or-create, so a later file updates what an
// earlier one made field by field: local over develop over release for every
// field an entry states; an omitted field keeps the earlier value; the source
// ends as the last file that named the feature.
//
// Files are found in `bundleToLoad()` (default: the main bundle). A missing
// file is skipped silently. A file that cannot be read, is not valid JSON, or
// whose top level is not an array of objects is skipped with a warning on log
// module "ProductFeatures" naming the file and the reason (kept on purpose,
// rather than silently: a broken file should be noticed). Malformed entries
// are skipped (see createProductFeatures).
#pragma once

#include <map>
#include <memory>
#include <vector>

#include <nlohmann/json.hpp>

#include "OVUtility/Features/ProductFeature.h"
#include "OVUtility/Features/ProductFeatureSourceFile.h"
#include "OVUtility/OVUtilityExport.h"

namespace ov {

class Bundle;

class OV_API ProductFeatureController {
  public:
    ProductFeatureController() = delete;

    static void updateProductFeatures(ProductFeatureSet set);

    // The registry's features (ordered by identifier; callers should not
    // rely on any order).
    static std::vector<std::shared_ptr<ProductFeature>> allFeatures();
    // Always the four keys release, develop, local and none.
    static std::map<ProductFeatureSourceFile, std::vector<std::shared_ptr<ProductFeature>>>
    featuresBySourceFile();
    // The features of `allFeatures()` with that source, in that order.
    static std::vector<std::shared_ptr<ProductFeature>> currentFeatures(
        ProductFeatureSourceFile source);

    // Turns parsed entries into features, in order: an entry that is not an
    // object, is empty, has no "id" or a non-string "id" is skipped;
    // "description" counts only as a string and "enabled" only as a Boolean;
    // other keys are ignored. One feature per accepted entry, duplicates
    // included. Anything but an array gives no features.
    static std::vector<std::shared_ptr<ProductFeature>> createProductFeatures(
        const nlohmann::json& entries, ProductFeatureSourceFile source);

    static std::shared_ptr<Bundle> bundleToLoad();
    static void setBundleToLoad(std::shared_ptr<Bundle> bundle);
};

// The name under which the other object model knows the class.
using OVProductFeatureController = ProductFeatureController;

}  // namespace ov
