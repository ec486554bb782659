// URL parsing, rebuilding, resolving and redirect rules on arbitrary text. The input up to the
// first newline is the base, the rest the location.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "pp/exceptions.h"
#include "pp/net/url.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view all(reinterpret_cast<const char*>(data), size);
    size_t nl = all.find('\n');
    std::string_view base = all.substr(0, nl);
    std::string_view location = nl == std::string_view::npos ? std::string_view() : all.substr(nl + 1);

    PP::parsedUrl u;
    if (PP::parseUrl(base, u, "http")) {
        if (u.host.empty() || u.path.empty() || u.path[0] != '/') __builtin_trap();
        // A rebuilt URL parses back to the same parts, unless the host holds a colon: then a
        // default port left out of the text lets the colon be read as the port's.
        PP::parsedUrl again;
        if (u.host.find(':') == std::string::npos &&
            (!PP::parseUrl(PP::buildUrl(u), again) || again.scheme != u.scheme || again.user != u.user ||
             again.password != u.password || again.host != u.host || again.port != u.port || again.path != u.path))
            __builtin_trap();
        (void)PP::hostKey(u);
    }
    PP::httpUrlParts parts;
    (void)PP::parseHttpUrl(base, parts);
    std::string n = PP::normaliseUrlBytes(location);
    for (unsigned char c : n)
        if (c == ' ' || c >= 0x80) __builtin_trap();
    try {
        std::string r = PP::resolveUrl(base, location);
        (void)PP::redirectTarget(base, r);
    } catch (const PP::invalid_input&) {
        // A base without "://", or a target that does not parse.
    }
    return 0;
}
