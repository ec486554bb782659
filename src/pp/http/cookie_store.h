#pragma once
// Cookies in memory: every Set-Cookie adds a record; what is sent for a request is chosen by
// domain, path and the HttpOnly and Secure attributes, the later record of a name winning.
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace PP {

// Ordering without regard to case, for attribute and cookie names.
struct noCaseLess {
    bool operator()(const std::string& a, const std::string& b) const;
};

struct cookieRecord {
    std::string name;
    std::string value;
    std::map<std::string, std::string, noCaseLess> attributes;
};

class httpCookieStore {
public:
    // Adds the cookie of a "Set-Cookie" value received from `host` for `path`.
    void storeCookie(const std::string& host, const std::string& path, const std::string& setCookie);
    // Name to value for a request to host and path.
    std::map<std::string, std::string, noCaseLess> cookiesFor(const std::string& host, const std::string& path,
                                                              bool allowHttpOnly, bool allowSecure);
    size_t size();

private:
    std::mutex m_lock;
    std::vector<cookieRecord> m_records;
};
using httpCookieStorePtr = std::shared_ptr<httpCookieStore>;

}  // namespace PP
