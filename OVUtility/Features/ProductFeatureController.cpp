#include "OVUtility/Features/ProductFeatureController.h"

#include <mutex>

#include "OVLog/OVLog.h"
#include "OVUtility/Features/ProductFeatureFile.h"
#include "OVUtility/Features/ProductFeatureRegistry.h"
#include "OVUtility/Platform/Bundle.h"

namespace ov {

static ovlog::Module& kModule = ovlog::Module::named("ProductFeatures");

namespace {

struct BundleSlot {
    std::mutex mutex;
    std::shared_ptr<Bundle> bundle;
};

BundleSlot& bundleSlot() {
    static BundleSlot slot;
    return slot;
}

void loadFile(const Bundle& bundle, ProductFeatureSourceFile source) {
    auto path = bundle.url(rawValue(source), "json");
    if (!path) return;  // a missing file is skipped silently
    auto file = ProductFeatureFile::load(*path);
    if (file.fileError) {
        OVLOG_WARNING(kModule, "feature file {} skipped: {}", path->string(), *file.fileError);
        return;
    }
    ProductFeatureController::createProductFeatures(*file.entries, source);
}

}  // namespace

std::shared_ptr<Bundle> ProductFeatureController::bundleToLoad() {
    auto& slot = bundleSlot();
    std::lock_guard lock(slot.mutex);
    if (!slot.bundle) slot.bundle = Bundle::main();
    return slot.bundle;
}

void ProductFeatureController::setBundleToLoad(std::shared_ptr<Bundle> bundle) {
    auto& slot = bundleSlot();
    std::lock_guard lock(slot.mutex);
    slot.bundle = std::move(bundle);
}

void ProductFeatureController::updateProductFeatures(ProductFeatureSet set) {
    auto bundle = bundleToLoad();
    auto kept = ProductFeatureRegistry::clearKeepingCodeFeatures();  // steps 1 and 2
    if (bundle) {
        loadFile(*bundle, ProductFeatureSourceFile::release);
        if (set == ProductFeatureSet::develop) loadFile(*bundle, ProductFeatureSourceFile::develop);
        loadFile(*bundle, ProductFeatureSourceFile::local);
    }
    ProductFeatureRegistry::restore(kept);
}

std::vector<std::shared_ptr<ProductFeature>> ProductFeatureController::allFeatures() {
    return ProductFeatureRegistry::all();
}

std::vector<std::shared_ptr<ProductFeature>> ProductFeatureController::currentFeatures(
    ProductFeatureSourceFile source) {
    std::vector<std::shared_ptr<ProductFeature>> out;
    for (auto& feature : allFeatures()) {
        if (feature->sourceFile() == source) out.push_back(std::move(feature));
    }
    return out;
}

std::map<ProductFeatureSourceFile, std::vector<std::shared_ptr<ProductFeature>>>
ProductFeatureController::featuresBySourceFile() {
    std::map<ProductFeatureSourceFile, std::vector<std::shared_ptr<ProductFeature>>> out;
    for (auto source : {ProductFeatureSourceFile::release, ProductFeatureSourceFile::develop,
                        ProductFeatureSourceFile::local, ProductFeatureSourceFile::none}) {
        out[source] = currentFeatures(source);
    }
    return out;
}

std::vector<std::shared_ptr<ProductFeature>> ProductFeatureController::createProductFeatures(
    const nlohmann::json& entries, ProductFeatureSourceFile source) {
    std::vector<std::shared_ptr<ProductFeature>> out;
    if (!entries.is_array()) return out;
    for (const auto& entry : entries) {
        if (!entry.is_object() || entry.empty()) continue;
        auto id = entry.find("id");
        if (id == entry.end() || !id->is_string()) continue;
        std::optional<std::string> description;
        if (auto d = entry.find("description"); d != entry.end() && d->is_string()) {
            description = d->get<std::string>();
        }
        std::optional<bool> enabled;
        if (auto e = entry.find("enabled"); e != entry.end() && e->is_boolean()) {
            enabled = e->get<bool>();
        }
        out.push_back(ProductFeature::product(id->get<std::string>(), std::move(description),
                                              enabled, source, std::nullopt));
    }
    return out;
}

}  // namespace ov
