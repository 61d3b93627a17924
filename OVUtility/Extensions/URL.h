// ov::URL: a parsed URL reference (RFC 3986, through liburiparser) with the
// parts the library reads, and the URL additions: product-link recognition
// and the HTTP test.
//
//   auto url = ov::URL::make("https://www.orvanta.com/album/42");
//   if (url && ov::isOrvantaLink(*url, "staging.orvanta.net")) { route(*url); }
//   ov::isHTTP(*url);   // true
//
// `make` refuses text that is not a valid URI reference (spaces, stray
// brackets...), as the platform's URL-from-string does. Relative references
// are accepted; they have no scheme and no host. Host comparison is exact
// and case-sensitive on the host text as written (IPv6 literals without
// their brackets).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class OV_API URL {
  public:
    // nullopt when `text` is not a valid URI reference.
    static std::optional<URL> make(std::string_view text);

    const std::string& absoluteString() const { return text_; }
    // The scheme as written ("https"); empty for a relative reference.
    const std::string& scheme() const { return scheme_; }
    // The host as written; nullopt when the URL has none (or an empty one).
    const std::optional<std::string>& host() const { return host_; }

    friend bool operator==(const URL& a, const URL& b) { return a.text_ == b.text_; }

  private:
    URL() = default;
    std::string text_;
    std::string scheme_;
    std::optional<std::string> host_;
};

// The product's fixed public web host.
inline constexpr std::string_view kOrvantaPublicWebHost = "www.orvanta.com";

// True when the URL's host equals the public web host or `environmentHost`
// (exact, case-sensitive). A URL without a host gives false.
OV_API bool isOrvantaLink(const URL& url, std::string_view environmentHost);
// Parses `text` first; text that is not a URL gives false.
OV_API bool isOrvantaLink(std::string_view text, std::string_view environmentHost);

// True when the scheme is "http" or "https" (schemes are case-insensitive).
OV_API bool isHTTP(const URL& url);

}  // namespace ov
