#include "OVUtility/Extensions/URL.h"

#include <uriparser/Uri.h>

#include <algorithm>
#include <cctype>

namespace ov {
namespace {

std::string rangeText(const UriTextRangeA& range) {
    if (!range.first || !range.afterLast) return {};
    return std::string(range.first, range.afterLast);
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

}  // namespace

std::optional<URL> URL::make(std::string_view text) {
    UriUriA uri;
    const char* errorPos = nullptr;
    const char* first = text.data();
    const char* afterLast = text.data() + text.size();
    if (text.empty()) return std::nullopt;
    if (uriParseSingleUriExA(&uri, first, afterLast, &errorPos) != URI_SUCCESS) {
        return std::nullopt;
    }
    URL url;
    url.text_ = std::string(text);
    url.scheme_ = rangeText(uri.scheme);
    std::string host = rangeText(uri.hostText);
    if (!host.empty()) url.host_ = std::move(host);
    uriFreeUriMembersA(&uri);
    return url;
}

bool isOrvantaLink(const URL& url, std::string_view environmentHost) {
    const auto& host = url.host();
    if (!host) return false;
    return *host == kOrvantaPublicWebHost || *host == environmentHost;
}

bool isOrvantaLink(std::string_view text, std::string_view environmentHost) {
    auto url = URL::make(text);
    return url && isOrvantaLink(*url, environmentHost);
}

bool isHTTP(const URL& url) {
    return equalsIgnoringCase(url.scheme(), "http") || equalsIgnoringCase(url.scheme(), "https");
}

}  // namespace ov
