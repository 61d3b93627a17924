#include "OVUtility/Extensions/HtmlEntities.h"

#include <cstdint>
#include <string_view>

#include <unicode/utf8.h>

#include "OVUtility/Extensions/StringAdditions.h"
#include "OVUtility/Extensions/UnicodeSupport.h"

namespace ov {
namespace {

struct NamedReference {
    std::string_view name;
    char32_t codePoint;
};

// Latin-1 references name U+00A0 to U+00FF in order, so only names are listed.
constexpr std::string_view kLatin1Names[96] = {
    "nbsp",   "iexcl",  "cent",   "pound",  "curren", "yen",    "brvbar", "sect",   "uml",
    "copy",   "ordf",   "laquo",  "not",    "shy",    "reg",    "macr",   "deg",    "plusmn",
    "sup2",   "sup3",   "acute",  "micro",  "para",   "middot", "cedil",  "sup1",   "ordm",
    "raquo",  "frac14", "frac12", "frac34", "iquest", "Agrave", "Aacute", "Acirc",  "Atilde",
    "Auml",   "Aring",  "AElig",  "Ccedil", "Egrave", "Eacute", "Ecirc",  "Euml",   "Igrave",
    "Iacute", "Icirc",  "Iuml",   "ETH",    "Ntilde", "Ograve", "Oacute", "Ocirc",  "Otilde",
    "Ouml",   "times",  "Oslash", "Ugrave", "Uacute", "Ucirc",  "Uuml",   "Yacute", "THORN",
    "szlig",  "agrave", "aacute", "acirc",  "atilde", "auml",   "aring",  "aelig",  "ccedil",
    "egrave", "eacute", "ecirc",  "euml",   "igrave", "iacute", "icirc",  "iuml",   "eth",
    "ntilde", "ograve", "oacute", "ocirc",  "otilde", "ouml",   "divide", "oslash", "ugrave",
    "uacute", "ucirc",  "uuml",   "yacute", "thorn",  "yuml",
};

// Symbols, mathematical symbols and Greek letters (124).
constexpr NamedReference kSymbols[] = {
    {"fnof", 402},     {"Alpha", 913},   {"Beta", 914},    {"Gamma", 915},    {"Delta", 916},
    {"Epsilon", 917},  {"Zeta", 918},    {"Eta", 919},     {"Theta", 920},    {"Iota", 921},
    {"Kappa", 922},    {"Lambda", 923},  {"Mu", 924},      {"Nu", 925},       {"Xi", 926},
    {"Omicron", 927},  {"Pi", 928},      {"Rho", 929},     {"Sigma", 931},    {"Tau", 932},
    {"Upsilon", 933},  {"Phi", 934},     {"Chi", 935},     {"Psi", 936},      {"Omega", 937},
    {"alpha", 945},    {"beta", 946},    {"gamma", 947},   {"delta", 948},    {"epsilon", 949},
    {"zeta", 950},     {"eta", 951},     {"theta", 952},   {"iota", 953},     {"kappa", 954},
    {"lambda", 955},   {"mu", 956},      {"nu", 957},      {"xi", 958},       {"omicron", 959},
    {"pi", 960},       {"rho", 961},     {"sigmaf", 962},  {"sigma", 963},    {"tau", 964},
    {"upsilon", 965},  {"phi", 966},     {"chi", 967},     {"psi", 968},      {"omega", 969},
    {"thetasym", 977}, {"upsih", 978},   {"piv", 982},     {"bull", 8226},    {"hellip", 8230},
    {"prime", 8242},   {"Prime", 8243},  {"oline", 8254},  {"frasl", 8260},   {"weierp", 8472},
    {"image", 8465},   {"real", 8476},   {"trade", 8482},  {"alefsym", 8501}, {"larr", 8592},
    {"uarr", 8593},    {"rarr", 8594},   {"darr", 8595},   {"harr", 8596},    {"crarr", 8629},
    {"lArr", 8656},    {"uArr", 8657},   {"rArr", 8658},   {"dArr", 8659},    {"hArr", 8660},
    {"forall", 8704},  {"part", 8706},   {"exist", 8707},  {"empty", 8709},   {"nabla", 8711},
    {"isin", 8712},    {"notin", 8713},  {"ni", 8715},     {"prod", 8719},    {"sum", 8721},
    {"minus", 8722},   {"lowast", 8727}, {"radic", 8730},  {"prop", 8733},    {"infin", 8734},
    {"ang", 8736},     {"and", 8743},    {"or", 8744},     {"cap", 8745},     {"cup", 8746},
    {"int", 8747},     {"there4", 8756}, {"sim", 8764},    {"cong", 8773},    {"asymp", 8776},
    {"ne", 8800},      {"equiv", 8801},  {"le", 8804},     {"ge", 8805},      {"sub", 8834},
    {"sup", 8835},     {"nsub", 8836},   {"sube", 8838},   {"supe", 8839},    {"oplus", 8853},
    {"otimes", 8855},  {"perp", 8869},   {"sdot", 8901},   {"lceil", 8968},   {"rceil", 8969},
    {"lfloor", 8970},  {"rfloor", 8971}, {"lang", 9001},   {"rang", 9002},    {"loz", 9674},
    {"spades", 9824},  {"clubs", 9827},  {"hearts", 9829}, {"diams", 9830},
};

// Markup-significant and internationalisation characters (32), plus "apos".
constexpr NamedReference kSpecials[] = {
    {"quot", 34},     {"amp", 38},      {"lt", 60},       {"gt", 62},       {"OElig", 338},
    {"oelig", 339},   {"Scaron", 352},  {"scaron", 353},  {"Yuml", 376},    {"circ", 710},
    {"tilde", 732},   {"ensp", 8194},   {"emsp", 8195},   {"thinsp", 8201}, {"zwnj", 8204},
    {"zwj", 8205},    {"lrm", 8206},    {"rlm", 8207},    {"ndash", 8211},  {"mdash", 8212},
    {"lsquo", 8216},  {"rsquo", 8217},  {"sbquo", 8218},  {"ldquo", 8220},  {"rdquo", 8221},
    {"bdquo", 8222},  {"dagger", 8224}, {"Dagger", 8225}, {"permil", 8240}, {"lsaquo", 8249},
    {"rsaquo", 8250}, {"euro", 8364},   {"apos", 39},
};

void appendCodePoint(std::string& out, char32_t c) {
    char buffer[U8_MAX_LENGTH];
    int32_t length = 0;
    UBool error = false;
    U8_APPEND(reinterpret_cast<uint8_t*>(buffer), length, U8_MAX_LENGTH, static_cast<UChar32>(c),
              error);
    if (!error) out.append(buffer, static_cast<std::size_t>(length));
}

HtmlEntityTable buildTable() {
    HtmlEntityTable table;
    table.reserve(256);
    auto add = [&](std::string_view name, char32_t c) {
        std::string key = "&";
        key.append(name).append(";");
        std::string value;
        appendCodePoint(value, c);
        table.emplace(std::move(key), std::move(value));
    };
    for (std::size_t i = 0; i < std::size(kLatin1Names); ++i) {
        add(kLatin1Names[i], static_cast<char32_t>(0xA0 + i));
    }
    for (const auto& reference : kSymbols) add(reference.name, reference.codePoint);
    for (const auto& reference : kSpecials) add(reference.name, reference.codePoint);
    return table;
}

// Parses all of `digits` in `base` (10 or 16) as a Unicode scalar value.
// Empty text, any other character, surrogates and values above U+10FFFF fail.
bool parseScalar(std::string_view digits, int base, char32_t& out) {
    if (digits.empty()) return false;
    std::uint32_t value = 0;
    for (char c : digits) {
        int digit;
        if (c >= '0' && c <= '9') {
            digit = c - '0';
        } else if (base == 16 && c >= 'a' && c <= 'f') {
            digit = c - 'a' + 10;
        } else if (base == 16 && c >= 'A' && c <= 'F') {
            digit = c - 'A' + 10;
        } else {
            return false;
        }
        value = value * static_cast<std::uint32_t>(base) + static_cast<std::uint32_t>(digit);
        if (value > 0x10FFFF) return false;  // stops before the value can overflow
    }
    if (value >= 0xD800 && value <= 0xDFFF) return false;
    out = value;
    return true;
}

// Appends the decoded reference (from "&" to ";" inclusive) or, when it does
// not decode, the reference itself.
void appendReference(std::string& out, std::string_view reference) {
    const std::string_view body = reference.substr(0, reference.size() - 1);  // without ";"
    char32_t scalar = 0;
    if (body.starts_with("&#x") || body.starts_with("&#X")) {
        if (parseScalar(body.substr(3), 16, scalar)) return appendCodePoint(out, scalar);
    } else if (body.starts_with("&#")) {
        if (parseScalar(body.substr(2), 10, scalar)) return appendCodePoint(out, scalar);
    } else {
        const auto& table = htmlNamedEntities();
        if (auto it = table.find(reference); it != table.end()) {  // no temporary key
            out.append(it->second);
            return;
        }
    }
    out.append(reference);
}

}  // namespace

const HtmlEntityTable& htmlNamedEntities() {
    // Built once, on first use; C++ guarantees thread-safe initialisation.
    static const HtmlEntityTable table = buildTable();
    return table;
}

namespace strings {

std::string decodeHtmlString(std::string_view text) {
    std::string storage;
    std::string_view rest = detail::repairedUtf8(text, storage);
    std::string out;
    out.reserve(rest.size());
    for (;;) {
        const std::size_t ampersand = rest.find('&');
        if (ampersand == std::string_view::npos) break;
        out.append(rest.substr(0, ampersand));
        rest.remove_prefix(ampersand);
        const std::size_t semicolon = rest.find(';');
        if (semicolon == std::string_view::npos) break;  // the rest is copied unchanged
        appendReference(out, rest.substr(0, semicolon + 1));
        rest.remove_prefix(semicolon + 1);
    }
    out.append(rest);
    return out;
}

}  // namespace strings
}  // namespace ov
