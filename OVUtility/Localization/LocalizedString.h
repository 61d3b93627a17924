// ov::LocalizedString: the catalogue of user-visible texts. One static
// accessor per catalogue key looks the key up in the library's own strings
// table, passes it through the pseudo-localisation filter and, for keys with
// placeholders, fills the arguments in order.
//
//   std::string label = ov::LocalizedString::badgeNew();          // "New"
//   std::string count = ov::LocalizedString::artists(12);         // "12 Artists"
//   std::string share = ov::LocalizedString::checkOutSongBy("Song", "Band");
//   std::string mine  = ov::LocalizedString::passthrough("MyAppKey");  // main bundle
//
// Accessor names are the keys with the first letter lower-cased and the
// placeholders dropped ("Artists %d" -> artists(long long)); seven keys are
// lower-case already ("aToZ", "why", ...). "Delete" is `delete_`, since
// `delete` is a C++ keyword. The full list is LocalizedStringKeys.def, which
// is also what `allKeys()` reports.
//
// A key missing from the table gives the platform's fallback: the key itself.
// The library's bundle (compiled in, see Bundle::library) is found once, on
// first use; the filter settings likewise (PseudoLocalizationFilter).
// Thread-safe.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/StringFormat.h"

namespace ov {

class Bundle;

class OV_API LocalizedString {
  public:
#define OV_LOCALIZED_STRING(name, key) static std::string name();
#define OV_LOCALIZED_STRING_T(name, key) static std::string name(std::string_view a0);
#define OV_LOCALIZED_STRING_I(name, key) static std::string name(long long a0);
#define OV_LOCALIZED_STRING_TT(name, key) \
    static std::string name(std::string_view a0, std::string_view a1);
#include "OVUtility/Localization/LocalizedStringKeys.def"
#undef OV_LOCALIZED_STRING
#undef OV_LOCALIZED_STRING_T
#undef OV_LOCALIZED_STRING_I
#undef OV_LOCALIZED_STRING_TT

    // Looks `key` up in the main bundle's default table and filters it.
    static std::string passthrough(std::string_view key);

    // The library-bundle lookup behind the accessors: the filtered text of a
    // key, formatted with `arguments` when there are any.
    static std::string localized(std::string_view key,
                                 const std::vector<FormatArgument>& arguments = {});

    struct Key {
        std::string_view accessor;  // e.g. "artists"
        std::string_view key;       // e.g. "Artists %d"
    };
    // Every catalogue key, in catalogue order (809).
    static const std::vector<Key>& allKeys();

    // The library's own bundle, as used by the accessors.
    static std::shared_ptr<Bundle> bundle();
};

// The name under which the other object model knows the class.
using OVLocalizedString = LocalizedString;

}  // namespace ov
