// ov::ProductFeature: one named product feature flag, shared process-wide.
//
//   auto feature = ov::ProductFeature::darkMode();        // one accessor per feature
//   if (feature->enabled()) { ... }
//   feature->setEnabled(true);                             // in-memory override, announced
//   feature->reset();                                      // back to the defined value
//   center->addObserver(ov::ProductFeature::featureDidChangeNotificationName, ...);
//
// A feature is identified by its tracker identifier ("IOS-10887"), which is
// its key in the process-wide registry and its "id" in feature files. Its
// value comes from code or the feature files (`initiallyEnabled`), and may be
// overridden by hand (`manuallyEnabled`); `enabled()` is the override when
// present, else the defined value.
//
// `product(...)` finds or creates: for an existing feature, each given
// argument replaces its field (the override is never touched, and nothing is
// announced even when the effective value changes); a new feature takes the
// given values and defaults (empty description, false, source `none`, not
// compile-time-only) and is stored in the registry.
//
// Announcements ("featureDidChangeNotificationName", object: the feature, no
// user info) go to the default notification centre captured when the feature
// was made, synchronously on the thread that made the change:
// - `setEnabled(v)` announces when the stored override changes, comparing the
//   optional overrides: no override -> v counts as a change even when the
//   effective value stays the same; v -> v does not.
// - `reset()` clears the override and announces only when the effective value
//   changed. The asymmetry with the setter is deliberate.
//
// The 103 accessors come from ProductFeatureList.def. Each finds or creates its
// feature with the identifier only, except `disableCacheForFRC`, which passes
// its description, enabled = true and compile-time-only = true on every read,
// so reading it forces those values back (a feature fixed in code).
//
// Features are meant for the application's main thread, but fields are
// guarded so that reading from other threads is safe.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "OVUtility/Features/ProductFeatureSourceFile.h"
#include "OVUtility/Features/ProductTogglable.h"
#include "OVUtility/OVUtilityExport.h"

namespace ov {

class NotificationCenter;

class OV_API ProductFeature : public ProductTogglable,
                              public std::enable_shared_from_this<ProductFeature> {
  public:
    static constexpr const char* featureDidChangeNotificationName =
        "featureDidChangeNotificationName";

    static std::shared_ptr<ProductFeature> product(
        const std::string& featureID, std::optional<std::string> featureDescription = std::nullopt,
        std::optional<bool> enabled = std::nullopt,
        std::optional<ProductFeatureSourceFile> sourceFile = std::nullopt,
        std::optional<bool> isCompileTimeOnly = std::nullopt);

#define OV_PRODUCT_FEATURE(name, identifier) static std::shared_ptr<ProductFeature> name();
#define OV_PRODUCT_FEATURE_FIXED(name, identifier, description, enabled, compileTimeOnly) \
    static std::shared_ptr<ProductFeature> name();
#include "OVUtility/Features/ProductFeatureList.def"
#undef OV_PRODUCT_FEATURE
#undef OV_PRODUCT_FEATURE_FIXED

    ProductFeature(const ProductFeature&) = delete;
    ProductFeature& operator=(const ProductFeature&) = delete;

    const std::string& featureID() const {
        return featureID_;
    }
    std::string featureDescription() const;
    void setFeatureDescription(std::string description);
    bool initiallyEnabled() const;
    void setInitiallyEnabled(bool enabled);
    // The stored override. Setting it here is silent; `setEnabled` announces.
    std::optional<bool> manuallyEnabled() const;
    void setManuallyEnabled(std::optional<bool> enabled);
    ProductFeatureSourceFile sourceFile() const;
    void setSourceFile(ProductFeatureSourceFile source);
    // Informational only.
    bool isCompileTimeOnly() const;
    void setIsCompileTimeOnly(bool compileTimeOnly);

    bool enabled() const override;
    void setEnabled(bool enabled);
    void reset();

    // "Feature <id>: <description> (<source raw value>) = enabled|disabled"
    std::string description() const;

  private:
    friend class ProductFeatureRegistry;
    ProductFeature(std::string featureID, std::string description, bool enabled,
                   ProductFeatureSourceFile source, bool compileTimeOnly);
    bool effectiveLocked() const {
        return manuallyEnabled_.value_or(initiallyEnabled_);
    }
    void announceChange();

    const std::string featureID_;
    mutable std::mutex mutex_;
    std::string featureDescription_;
    bool initiallyEnabled_;
    std::optional<bool> manuallyEnabled_;
    ProductFeatureSourceFile sourceFile_;
    bool isCompileTimeOnly_;
    const std::shared_ptr<NotificationCenter> notificationCenter_;
};

// The name under which the other object model knows the class.
using OVProductFeature = ProductFeature;

}  // namespace ov
