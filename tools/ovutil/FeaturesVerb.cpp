// `ovutil features`: loads the feature files of a bundle the way the
// application does and prints every feature with its value and source; with
// --check, reports broken files and entries instead and exits non-zero when
// there are any. Also the "Product features" demo section.
//
//   ovutil features                                  # data/SampleBundle, release set
//   ovutil features --bundle path/to/Resources --set develop
//   ovutil features --check [--bundle DIR] [--set develop]
//   ovutil features --check --file some-features.json
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "OVLog/OVLog.h"
#include "OVUtility/Features/ProductFeatureController.h"
#include "OVUtility/Features/ProductFeatureFile.h"
#include "OVUtility/Platform/Bundle.h"
#include "OVUtility/Platform/NotificationCenter.h"
#include "Verb.h"

namespace ovutil {
namespace {

using ov::ProductFeatureSet;
using ov::ProductFeatureSourceFile;

const std::map<std::string, std::string>& accessorNames() {
    static const std::map<std::string, std::string> names = [] {
        std::map<std::string, std::string> out;
#define OV_PRODUCT_FEATURE(name, identifier) out[identifier] = #name;
#define OV_PRODUCT_FEATURE_FIXED(name, identifier, d, e, c) out[identifier] = #name;
#include "OVUtility/Features/ProductFeatureList.def"
#undef OV_PRODUCT_FEATURE
#undef OV_PRODUCT_FEATURE_FIXED
        return out;
    }();
    return names;
}

const char* const kUsage =
    "usage: ovutil features [--bundle DIR] [--set release|develop] [--check]\n"
    "       ovutil features --check --file FILE.json\n"
    "Without --bundle, reads SampleBundle from the sample data (see `ovutil help`).\n";

int usage() {
    std::fputs(kUsage, stderr);
    return 2;
}

// Prints the problems of one file; returns how many there were.
int checkFile(const std::string& label, const std::filesystem::path& path) {
    auto file = ov::ProductFeatureFile::load(path);
    if (file.fileError) {
        std::printf("%s: skipped: %s\n", printable(label).c_str(),
                    printable(*file.fileError).c_str());
        return 1;
    }
    for (const auto& problem : file.entryProblems) {
        std::printf("%s: entry %zu: %s\n", printable(label).c_str(), problem.index,
                    printable(problem.reason).c_str());
    }
    if (file.entryProblems.empty()) {
        std::printf("%s: %zu entries, no problems\n", printable(label).c_str(),
                    file.entries->size());
    }
    return static_cast<int>(file.entryProblems.size());
}

void printFeatures() {
    auto features = ov::ProductFeatureController::allFeatures();
    std::printf("%-14s %-9s %-8s %-30s %s\n", "ID", "VALUE", "SOURCE", "ACCESSOR", "DESCRIPTION");
    for (const auto& f : features) {
        auto accessor = accessorNames().find(f->featureID());
        std::printf("%-14s %-9s %-8s %-30s %s\n", f->featureID().c_str(),
                    f->enabled() ? "enabled" : "disabled",
                    std::string(ov::description(f->sourceFile())).c_str(),
                    accessor == accessorNames().end() ? "-" : accessor->second.c_str(),
                    f->featureDescription().c_str());
    }
    std::printf("%zu features\n", features.size());
}

int runFeatures(const std::vector<std::string>& args) {
    std::filesystem::path bundleDir = std::filesystem::path(dataDirectory()) / "SampleBundle";
    std::optional<std::filesystem::path> singleFile;
    ProductFeatureSet set = ProductFeatureSet::release;
    bool check = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const auto& a = args[i];
        if (a == "--bundle" && i + 1 < args.size()) {
            bundleDir = args[++i];
        } else if (a == "--file" && i + 1 < args.size()) {
            singleFile = args[++i];
        } else if (a == "--set" && i + 1 < args.size()) {
            const auto& v = args[++i];
            if (v == "release") {
                set = ProductFeatureSet::release;
            } else if (v == "develop") {
                set = ProductFeatureSet::develop;
            } else {
                std::fprintf(stderr, "ovutil features: unknown set '%s'\n", printable(v).c_str());
                return usage();
            }
        } else if (a == "--check") {
            check = true;
        } else {
            return usage();
        }
    }

    if (singleFile) {
        if (!check) return usage();
        return checkFile(singleFile->string(), *singleFile) == 0 ? 0 : 1;
    }

    std::error_code ec;
    if (!std::filesystem::is_directory(bundleDir, ec)) {
        std::fprintf(stderr, "ovutil features: %s is not a directory\n",
                     printable(bundleDir.string()).c_str());
        return 1;
    }
    auto bundle = ov::Bundle::make(bundleDir);
    if (check) {
        int problems = 0;
        std::vector<ProductFeatureSourceFile> sources{ProductFeatureSourceFile::release};
        if (set == ProductFeatureSet::develop) sources.push_back(ProductFeatureSourceFile::develop);
        sources.push_back(ProductFeatureSourceFile::local);
        for (auto source : sources) {
            auto path = bundle->url(ov::rawValue(source), "json");
            if (!path) {
                std::printf("%s.json: not present (skipped)\n",
                            std::string(ov::rawValue(source)).c_str());
                continue;
            }
            problems += checkFile(path->string(), *path);
        }
        std::printf("%d problem%s\n", problems, problems == 1 ? "" : "s");
        return problems == 0 ? 0 : 1;
    }
    ov::ProductFeatureController::setBundleToLoad(bundle);
    ov::ProductFeatureController::updateProductFeatures(set);
    printFeatures();
    return 0;
}

VerbRegistration registration{
    "features", "print the features of a bundle's feature files (--check to validate them)",
    &runFeatures, kUsage};

void runFeaturesDemo() {
    auto bundle = ov::Bundle::make(std::filesystem::path(dataDirectory()) / "SampleBundle");
    ov::ProductFeatureController::setBundleToLoad(bundle);
    auto center = ov::NotificationCenter::defaultCenter();
    auto token = center->addObserver(ov::ProductFeature::featureDidChangeNotificationName, nullptr,
                                     nullptr, [](const ov::Notification& n) {
                                         if (auto f = n.object.as<ov::ProductFeature>())
                                             demoLine("  changed: " + f->description());
                                     });

    ov::ProductFeatureController::updateProductFeatures(ProductFeatureSet::release);
    auto haptic = ov::ProductFeature::hapticFeedback();
    demoLine("release set:  " + haptic->description());
    ov::ProductFeatureController::updateProductFeatures(ProductFeatureSet::develop);
    haptic = ov::ProductFeature::hapticFeedback();
    demoLine("develop set:  " + haptic->description() + "  (release, develop, then local)");

    demoLine("override hapticFeedback off, then reset:");
    haptic->setEnabled(false);
    haptic->reset();
    auto byCode = ov::ProductFeature::disableCacheForFRC();
    demoLine("fixed in code: " + byCode->description());
    ov::ProductFeatureController::updateProductFeatures(ProductFeatureSet::develop);
    demoLine("after reload, code feature kept: " +
             std::string(ov::ProductFeature::disableCacheForFRC() == byCode ? "same object"
                                                                            : "new object"));
    center->removeObserver(token);
}

DemoSectionRegistration demoSection{60, "Product features", &runFeaturesDemo};

}  // namespace
}  // namespace ovutil
