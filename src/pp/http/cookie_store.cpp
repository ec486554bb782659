#include "pp/http/cookie_store.h"

#include <string_view>

#include "pp/ascii_case.h"

namespace PP {

namespace {

bool pathMatches(std::string_view requestPath, std::string_view cookiePath) {
    if (!cookiePath.empty() && cookiePath.back() == '/') return requestPath.substr(0, cookiePath.size()) == cookiePath;
    if (requestPath == cookiePath) return true;
    return requestPath.size() > cookiePath.size() && requestPath.substr(0, cookiePath.size()) == cookiePath &&
           requestPath[cookiePath.size()] == '/';
}

}  // namespace

bool noCaseLess::operator()(const std::string& a, const std::string& b) const {
    size_t n = std::min(a.size(), b.size());
    for (size_t i = 0; i < n; ++i) {
        char x = lowerAscii(a[i]), y = lowerAscii(b[i]);
        if (x != y) return (unsigned char)x < (unsigned char)y;
    }
    return a.size() < b.size();
}

void httpCookieStore::storeCookie(const std::string& host, const std::string& path, const std::string& setCookie) {
    std::vector<std::string_view> segments;
    std::string_view rest(setCookie);
    while (!rest.empty()) {
        size_t semi = rest.find(';');
        std::string_view seg = rest.substr(0, semi);
        if (!seg.empty()) segments.push_back(seg);
        if (semi == std::string_view::npos) break;
        rest.remove_prefix(semi + 1);
    }
    if (segments.empty()) return;
    cookieRecord r;
    size_t eq = segments[0].find('=');
    r.name = std::string(segments[0].substr(0, eq));
    if (eq != std::string_view::npos) r.value = std::string(segments[0].substr(eq + 1));
    r.attributes["Domain"] = host;
    r.attributes["Path"] = path;
    for (size_t i = 1; i < segments.size(); ++i) {
        size_t e = segments[i].find('=');
        std::string value = e == std::string_view::npos ? std::string() : std::string(segments[i].substr(e + 1));
        r.attributes[std::string(segments[i].substr(0, e))] = value;
    }
    std::lock_guard<std::mutex> g(m_lock);
    m_records.push_back(std::move(r));
}

std::map<std::string, std::string, noCaseLess> httpCookieStore::cookiesFor(const std::string& host,
                                                                           const std::string& path, bool allowHttpOnly,
                                                                           bool allowSecure) {
    std::map<std::string, std::string, noCaseLess> out;
    std::lock_guard<std::mutex> g(m_lock);
    for (const auto& r : m_records) {
        if (!allowHttpOnly && r.attributes.count("HttpOnly")) continue;
        if (!allowSecure && r.attributes.count("Secure")) continue;
        auto d = r.attributes.find("Domain");
        const std::string domain = d == r.attributes.end() ? std::string() : d->second;
        if (!domain.empty() && domain[0] == '.' ? !endsWithNoCase(host, domain) : !equalNoCase(host, domain)) continue;
        auto p = r.attributes.find("Path");
        if (!pathMatches(path, p == r.attributes.end() ? std::string_view() : std::string_view(p->second))) continue;
        out[r.name] = r.value;
    }
    return out;
}

size_t httpCookieStore::size() {
    std::lock_guard<std::mutex> g(m_lock);
    return m_records.size();
}

}  // namespace PP
