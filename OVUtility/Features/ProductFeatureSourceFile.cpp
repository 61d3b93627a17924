#include "OVUtility/Features/ProductFeatureSourceFile.h"

namespace ov {

std::string_view rawValue(ProductFeatureSourceFile source) {
    switch (source) {
        case ProductFeatureSourceFile::release:
            return "release-features";
        case ProductFeatureSourceFile::develop:
            return "develop-features";
        case ProductFeatureSourceFile::local:
            return "local-features";
        case ProductFeatureSourceFile::none:
            break;
    }
    return "none";
}

std::string_view description(ProductFeatureSourceFile source) {
    switch (source) {
        case ProductFeatureSourceFile::release:
            return "Release";
        case ProductFeatureSourceFile::develop:
            return "Develop";
        case ProductFeatureSourceFile::local:
            return "Local";
        case ProductFeatureSourceFile::none:
            break;
    }
    return "None";
}

std::optional<ProductFeatureSourceFile> productFeatureSourceFile(std::string_view raw) {
    for (auto source : {ProductFeatureSourceFile::release, ProductFeatureSourceFile::develop,
                        ProductFeatureSourceFile::local, ProductFeatureSourceFile::none}) {
        if (rawValue(source) == raw) return source;
    }
    return std::nullopt;
}

std::optional<ProductFeatureSet> productFeatureSet(long long raw) {
    if (raw == 0) return ProductFeatureSet::release;
    if (raw == 1) return ProductFeatureSet::develop;
    return std::nullopt;
}

}  // namespace ov
