#include "OVUtility/Features/ProductFeature.h"

#include "OVUtility/Features/ProductFeatureRegistry.h"
#include "OVUtility/Platform/NotificationCenter.h"

namespace ov {

namespace {

struct Registry {
    std::mutex mutex;
    std::map<std::string, std::shared_ptr<ProductFeature>> features;
};

Registry& registry() {
    static Registry r;
    return r;
}

}  // namespace

ProductFeature::ProductFeature(std::string featureID, std::string description, bool enabled,
                               ProductFeatureSourceFile source, bool compileTimeOnly)
    : featureID_(std::move(featureID)),
      featureDescription_(std::move(description)),
      initiallyEnabled_(enabled),
      sourceFile_(source),
      isCompileTimeOnly_(compileTimeOnly),
      notificationCenter_(NotificationCenter::defaultCenter()) {}

std::shared_ptr<ProductFeature> ProductFeatureRegistry::findOrCreate(
    const std::string& featureID, std::optional<std::string> description,
    std::optional<bool> enabled, std::optional<ProductFeatureSourceFile> source,
    std::optional<bool> compileTimeOnly) {
    auto& r = registry();
    std::lock_guard lock(r.mutex);
    if (auto it = r.features.find(featureID); it != r.features.end()) {
        auto& feature = *it->second;
        std::lock_guard featureLock(feature.mutex_);
        if (description) feature.featureDescription_ = std::move(*description);
        if (enabled) feature.initiallyEnabled_ = *enabled;
        if (source) feature.sourceFile_ = *source;
        if (compileTimeOnly) feature.isCompileTimeOnly_ = *compileTimeOnly;
        return it->second;
    }
    std::shared_ptr<ProductFeature> feature(new ProductFeature(
        featureID, description.value_or(std::string()), enabled.value_or(false),
        source.value_or(ProductFeatureSourceFile::none), compileTimeOnly.value_or(false)));
    r.features.emplace(featureID, feature);
    return feature;
}

std::vector<std::shared_ptr<ProductFeature>> ProductFeatureRegistry::all() {
    auto& r = registry();
    std::lock_guard lock(r.mutex);
    std::vector<std::shared_ptr<ProductFeature>> out;
    out.reserve(r.features.size());
    for (const auto& [id, feature] : r.features) out.push_back(feature);
    return out;
}

std::map<std::string, std::shared_ptr<ProductFeature>>
ProductFeatureRegistry::clearKeepingCodeFeatures() {
    auto& r = registry();
    std::map<std::string, std::shared_ptr<ProductFeature>> kept;
    std::map<std::string, std::shared_ptr<ProductFeature>> dropped;
    {
        std::lock_guard lock(r.mutex);
        for (const auto& [id, feature] : r.features) {
            if (feature->sourceFile() == ProductFeatureSourceFile::none) kept.emplace(id, feature);
        }
        dropped.swap(r.features);
    }
    return kept;  // `dropped` is released outside the lock
}

void ProductFeatureRegistry::restore(
    const std::map<std::string, std::shared_ptr<ProductFeature>>& entries) {
    auto& r = registry();
    std::vector<std::shared_ptr<ProductFeature>> replaced;
    std::lock_guard lock(r.mutex);
    for (const auto& [id, feature] : entries) {
        auto& slot = r.features[id];
        if (slot) replaced.push_back(slot);
        slot = feature;
    }
}

std::shared_ptr<ProductFeature> ProductFeature::product(
    const std::string& featureID, std::optional<std::string> featureDescription,
    std::optional<bool> enabled, std::optional<ProductFeatureSourceFile> sourceFile,
    std::optional<bool> isCompileTimeOnly) {
    return ProductFeatureRegistry::findOrCreate(featureID, std::move(featureDescription), enabled,
                                                sourceFile, isCompileTimeOnly);
}

#define OV_PRODUCT_FEATURE(name, identifier)                 \
    std::shared_ptr<ProductFeature> ProductFeature::name() { \
        return product(identifier);                          \
    }
#define OV_PRODUCT_FEATURE_FIXED(name, identifier, description, enabled, compileTimeOnly) \
    std::shared_ptr<ProductFeature> ProductFeature::name() {                              \
        return product(identifier, std::string(description), enabled, std::nullopt,       \
                       compileTimeOnly);                                                  \
    }
#include "OVUtility/Features/ProductFeatureList.def"
#undef OV_PRODUCT_FEATURE
#undef OV_PRODUCT_FEATURE_FIXED

std::string ProductFeature::featureDescription() const {
    std::lock_guard lock(mutex_);
    return featureDescription_;
}
void ProductFeature::setFeatureDescription(std::string description) {
    std::lock_guard lock(mutex_);
    featureDescription_ = std::move(description);
}
bool ProductFeature::initiallyEnabled() const {
    std::lock_guard lock(mutex_);
    return initiallyEnabled_;
}
void ProductFeature::setInitiallyEnabled(bool enabled) {
    std::lock_guard lock(mutex_);
    initiallyEnabled_ = enabled;
}
std::optional<bool> ProductFeature::manuallyEnabled() const {
    std::lock_guard lock(mutex_);
    return manuallyEnabled_;
}
void ProductFeature::setManuallyEnabled(std::optional<bool> enabled) {
    std::lock_guard lock(mutex_);
    manuallyEnabled_ = enabled;
}
ProductFeatureSourceFile ProductFeature::sourceFile() const {
    std::lock_guard lock(mutex_);
    return sourceFile_;
}
void ProductFeature::setSourceFile(ProductFeatureSourceFile source) {
    std::lock_guard lock(mutex_);
    sourceFile_ = source;
}
bool ProductFeature::isCompileTimeOnly() const {
    std::lock_guard lock(mutex_);
    return isCompileTimeOnly_;
}
void ProductFeature::setIsCompileTimeOnly(bool compileTimeOnly) {
    std::lock_guard lock(mutex_);
    isCompileTimeOnly_ = compileTimeOnly;
}

bool ProductFeature::enabled() const {
    std::lock_guard lock(mutex_);
    return effectiveLocked();
}

void ProductFeature::setEnabled(bool enabled) {
    bool changed;
    {
        std::lock_guard lock(mutex_);
        // Compares the stored overrides, not the effective values.
        changed = manuallyEnabled_ != std::optional<bool>(enabled);
        manuallyEnabled_ = enabled;
    }
    if (changed) announceChange();
}

void ProductFeature::reset() {
    bool changed;
    {
        std::lock_guard lock(mutex_);
        const bool before = effectiveLocked();
        manuallyEnabled_.reset();
        changed = effectiveLocked() != before;
    }
    if (changed) announceChange();
}

void ProductFeature::announceChange() {
    notificationCenter_->post(featureDidChangeNotificationName, AnyObject(shared_from_this()));
}

std::string ProductFeature::description() const {
    std::lock_guard lock(mutex_);
    return "Feature " + featureID_ + ": " + featureDescription_ + " (" +
           std::string(rawValue(sourceFile_)) +
           ") = " + (effectiveLocked() ? "enabled" : "disabled");
}

}  // namespace ov
