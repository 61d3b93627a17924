// ov::ProductFeatureRegistry: the process-wide dictionary from feature
// identifier to feature, created empty on first use. ProductFeature's
// find-or-create and ProductFeatureController's reload are its only users;
// application code goes through those.
//
// The registry holds its features strongly; a reload drops the file-defined
// ones (callers that still hold them keep stale objects). Guarded by a mutex;
// the lock order is registry, then feature.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "OVUtility/Features/ProductFeature.h"
#include "OVUtility/OVUtilityExport.h"

namespace ov {

class OV_API ProductFeatureRegistry {
  public:
    static std::shared_ptr<ProductFeature> findOrCreate(
        const std::string& featureID, std::optional<std::string> description,
        std::optional<bool> enabled, std::optional<ProductFeatureSourceFile> source,
        std::optional<bool> compileTimeOnly);
    // Every feature, ordered by identifier.
    static std::vector<std::shared_ptr<ProductFeature>> all();
    // Empties the registry and returns the entries whose feature has source
    // `none` (the ones that code made and no file defined).
    static std::map<std::string, std::shared_ptr<ProductFeature>> clearKeepingCodeFeatures();
    // Puts entries back, replacing features of the same identifier.
    static void restore(const std::map<std::string, std::shared_ptr<ProductFeature>>& entries);
};

}  // namespace ov
