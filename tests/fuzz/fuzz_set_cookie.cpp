// Set-Cookie values stored and chosen again for requests.
#include <cstddef>
#include <cstdint>
#include <string>

#include "pp/http/cookie_store.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string all(reinterpret_cast<const char*>(data), size);
    PP::httpCookieStore store;
    size_t start = 0;
    for (int i = 0; i < 16 && start <= all.size(); ++i) {
        size_t nl = all.find('\n', start);
        store.storeCookie("www.example.test", "/a/b",
                          all.substr(start, nl == std::string::npos ? std::string::npos : nl - start));
        if (nl == std::string::npos) break;
        start = nl + 1;
    }
    for (const char* path : {"/", "/a", "/a/b", "/a/bc"})
        for (bool secure : {false, true}) {
            auto sent = store.cookiesFor("WWW.example.test", path, true, secure);
            if (sent.size() > store.size()) __builtin_trap();
        }
    return 0;
}
