#include "OVUtility/Localization/LocalizedString.h"

#include "OVUtility/Localization/PseudoLocalizationFilter.h"
#include "OVUtility/Platform/Bundle.h"

namespace ov {

std::shared_ptr<Bundle> LocalizedString::bundle() {
    static const std::shared_ptr<Bundle> bundle = Bundle::library();
    return bundle;
}

std::string LocalizedString::localized(std::string_view key,
                                       const std::vector<FormatArgument>& arguments) {
    // Lookup with an empty default value, so a missing key falls back to the key.
    std::string text = bundle()->localizedString(key, "", "");
    std::string filtered = PseudoLocalizationFilter::shared().apply(text);
    if (arguments.empty()) return filtered;
    return formatString(filtered, arguments);
}

std::string LocalizedString::passthrough(std::string_view key) {
    return PseudoLocalizationFilter::shared().apply(Bundle::main()->localizedString(key, "", ""));
}

#define OV_LOCALIZED_STRING(name, key)    \
    std::string LocalizedString::name() { \
        return localized(key);            \
    }
#define OV_LOCALIZED_STRING_T(name, key)                     \
    std::string LocalizedString::name(std::string_view a0) { \
        return localized(key, {a0});                         \
    }
#define OV_LOCALIZED_STRING_I(name, key)              \
    std::string LocalizedString::name(long long a0) { \
        return localized(key, {a0});                  \
    }
#define OV_LOCALIZED_STRING_TT(name, key)                                         \
    std::string LocalizedString::name(std::string_view a0, std::string_view a1) { \
        return localized(key, {a0, a1});                                          \
    }
#include "OVUtility/Localization/LocalizedStringKeys.def"
#undef OV_LOCALIZED_STRING
#undef OV_LOCALIZED_STRING_T
#undef OV_LOCALIZED_STRING_I
#undef OV_LOCALIZED_STRING_TT

const std::vector<LocalizedString::Key>& LocalizedString::allKeys() {
    static const std::vector<Key> keys{
#define OV_LOCALIZED_STRING(name, key) Key{#name, key},
#define OV_LOCALIZED_STRING_T(name, key) Key{#name, key},
#define OV_LOCALIZED_STRING_I(name, key) Key{#name, key},
#define OV_LOCALIZED_STRING_TT(name, key) Key{#name, key},
#include "OVUtility/Localization/LocalizedStringKeys.def"
#undef OV_LOCALIZED_STRING
#undef OV_LOCALIZED_STRING_T
#undef OV_LOCALIZED_STRING_I
#undef OV_LOCALIZED_STRING_TT
    };
    return keys;
}

}  // namespace ov
