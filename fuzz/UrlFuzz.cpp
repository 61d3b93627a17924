// libFuzzer target: URL parsing. A parsed URL keeps its text, its scheme is a
// prefix of it and its host a part of it; the link tests answer the same for
// the text and for the parsed URL.
#include "FuzzSupport.h"
#include "OVUtility/Extensions/URL.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto input = ovfuzz::text(data, size);
    const auto url = ov::URL::make(input);
    const bool link = ov::isOrvantaLink(input, "staging.orvanta.net");
    if (!url) {
        ovfuzz::check(!link, "text that is no URL is no link");
        return 0;
    }
    ovfuzz::check(url->absoluteString() == input, "the URL keeps its text");
    ovfuzz::check(input.substr(0, url->scheme().size()) == url->scheme(), "scheme is a prefix");
    if (url->host()) {
        ovfuzz::check(!url->host()->empty(), "a host is never empty");
        ovfuzz::check(input.find(*url->host()) != std::string_view::npos, "host is in the text");
    }
    ovfuzz::check(link == ov::isOrvantaLink(*url, "staging.orvanta.net"), "same answer");
    (void)ov::isHTTP(*url);
    return 0;
}
