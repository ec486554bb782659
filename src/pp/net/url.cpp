#include "pp/net/url.h"

#include <algorithm>

#include "pp/exceptions.h"
#include "pp/net/escape.h"

namespace PP {

namespace {

bool equalsNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = char(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = char(y - 'A' + 'a');
        if (x != y) return false;
    }
    return true;
}

std::string lower(std::string_view s) {
    std::string out(s);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    return out;
}

std::string portSuffix(const parsedUrl& u) {
    unsigned def = defaultPort(u.scheme);
    if (def != 0 && u.port == std::to_string(def)) return std::string();
    return ":" + u.port;
}

}  // namespace

unsigned defaultPort(std::string_view scheme) {
    if (equalsNoCase(scheme, "http")) return 80;
    if (equalsNoCase(scheme, "https")) return 443;
    if (equalsNoCase(scheme, "ftp") || equalsNoCase(scheme, "ftpes")) return 21;
    if (equalsNoCase(scheme, "ftps")) return 990;
    return 0;
}

bool parseUrl(std::string_view text, parsedUrl& out, std::string_view defaultScheme) {
    parsedUrl u;
    std::string_view rest;
    size_t sep = text.find("://");
    if (sep != std::string_view::npos) {
        u.scheme = lower(text.substr(0, sep));
        rest = text.substr(sep + 3);
    } else {
        if (defaultScheme.empty()) return false;
        u.scheme = lower(defaultScheme);
        rest = text;
    }
    std::string_view authority = rest;
    size_t slash = rest.find('/');
    if (slash != std::string_view::npos) {
        u.path = std::string(rest.substr(slash));
        authority = rest.substr(0, slash);
    } else {
        u.path = "/";
    }
    size_t at = authority.rfind('@');
    if (at != std::string_view::npos) {
        std::string_view info = authority.substr(0, at);
        size_t colon = info.find(':');
        if (colon != std::string_view::npos) {
            u.user = std::string(info.substr(0, colon));
            u.password = std::string(info.substr(colon + 1));
        } else {
            u.user = std::string(info);
        }
        authority = authority.substr(at + 1);
    }
    size_t colon = authority.rfind(':');
    if (colon != std::string_view::npos) {
        u.port = std::string(authority.substr(colon + 1));
        authority = authority.substr(0, colon);
    } else {
        unsigned def = defaultPort(u.scheme);
        if (def != 0) u.port = std::to_string(def);
    }
    if (authority.empty()) return false;
    u.host = std::string(authority);
    out = std::move(u);
    return true;
}

parsedUrl urlParse(std::string_view text, std::string_view defaultScheme) {
    parsedUrl u;
    if (!parseUrl(text, u, defaultScheme)) throwFixed<invalid_url>();
    return u;
}

std::string hostKey(const parsedUrl& u) { return u.host + portSuffix(u); }

std::string schemePrefix(const parsedUrl& u) { return u.scheme + "://"; }

std::string userInfo(const parsedUrl& u) {
    std::string s = u.user;
    if (!u.password.empty()) s += ":" + u.password;
    if (!s.empty()) s += "@";
    return s;
}

std::string buildUrl(const parsedUrl& u) { return schemePrefix(u) + userInfo(u) + u.host + portSuffix(u) + u.path; }

std::string buildUrlNoUser(const parsedUrl& u) { return schemePrefix(u) + u.host + portSuffix(u) + u.path; }

bool samePlace(const parsedUrl& a, const parsedUrl& b) {
    return a.scheme == b.scheme && a.host == b.host && a.port == b.port;
}

bool sameInAll(const parsedUrl& a, const parsedUrl& b) {
    return samePlace(a, b) && a.user == b.user && a.password == b.password;
}

bool parseHttpUrl(std::string_view text, httpUrlParts& out) {
    parsedUrl u;
    if (!parseUrl(text, u) || (u.scheme != "http" && u.scheme != "https")) return false;
    out.host = u.host;
    out.port = u.port;
    out.path = u.path;
    out.userInfo = u.user;
    if (!u.password.empty()) out.userInfo += ":" + u.password;
    out.secure = u.scheme == "https";
    return true;
}

bool isPlainHttpUrl(std::string_view text) {
    httpUrlParts p;
    return parseHttpUrl(text, p) && !p.secure && p.userInfo.empty();
}

std::string resolveUrl(std::string_view base, std::string_view location) {
    if (location.find("://") != std::string_view::npos) return std::string(location);
    size_t sep = base.find("://");
    if (sep == std::string_view::npos) throwFixed<invalid_input>();
    size_t pathStart = base.find('/', sep + 3);
    if (pathStart == std::string_view::npos) {
        std::string out(base);
        if (location.empty() || location[0] != '/') out += '/';
        return out + std::string(location);
    }
    std::string_view authority = base.substr(0, pathStart);
    if (!location.empty() && location[0] == '/') return std::string(authority) + std::string(location);

    std::string path(base.substr(pathStart));
    size_t query = path.find('?');
    if (query != std::string::npos) path.resize(query);
    for (;;) {
        if (location.substr(0, 3) == "../") {
            size_t last = path.rfind('/');
            // The root stays: "/" does not shrink further.
            path.resize(last == 0 || last == std::string::npos ? 1 : last);
            location.remove_prefix(3);
        } else if (location.substr(0, 2) == "./") {
            location.remove_prefix(2);
        } else {
            break;
        }
    }
    const bool queryOnly = !location.empty() && location[0] == '?';
    if (!queryOnly) {
        size_t last = path.rfind('/');
        if (last != std::string::npos) path.resize(last + 1);
    }
    std::string out = std::string(authority) + path;
    if (!queryOnly && (path.empty() || path.back() != '/')) out += '/';
    return out + std::string(location);
}

std::string normaliseUrlBytes(std::string_view url) {
    static const char hex[] = "0123456789abcdef";
    std::string out;
    out.reserve(url.size());
    for (unsigned char c : url) {
        if (c == ' ' || c >= 0x80) {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        } else {
            out += char(c);
        }
    }
    return out;
}

std::string redirectTarget(std::string_view oldUrl, std::string_view newUrl) {
    parsedUrl before = urlParse(oldUrl);
    parsedUrl after = urlParse(newUrl);
    bool changed = false;
    if (!before.user.empty() && samePlace(before, after)) {
        changed = after.user != before.user || after.password != before.password;
        after.user = before.user;
        after.password = before.password;
    }
    size_t q = after.path.find('?');
    std::string path = after.path.substr(0, q);
    std::string query = q == std::string::npos ? std::string() : after.path.substr(q);
    if (!isEscaped(path)) {
        std::string escaped = escapePath(path);
        if (escaped != path) {
            after.path = escaped + query;
            changed = true;
        }
    }
    return changed ? buildUrl(after) : std::string(newUrl);
}

}  // namespace PP
