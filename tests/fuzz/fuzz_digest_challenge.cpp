// Challenges from a server or proxy: parameter scanning and the Digest and Basic answers.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "pp/http/authorization.h"
#include "pp/http/http_errors.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string all(reinterpret_cast<const char*>(data), size);
    // Lines are separate challenges, tried in order.
    std::vector<std::string> challenges;
    size_t start = 0;
    while (start <= all.size() && challenges.size() < 8) {
        size_t nl = all.find('\n', start);
        challenges.push_back(all.substr(start, nl == std::string::npos ? std::string::npos : nl - start));
        if (nl == std::string::npos) break;
        start = nl + 1;
    }
    std::string value;
    for (const char* name : {"realm", "nonce", "qop", "algorithm", "opaque"}) {
        (void)PP::challengeParam(challenges[0], name, true, value);
        (void)PP::challengeParam(challenges[0], name, false, value);
    }
    try {
        (void)PP::digestAuthorization("GET", challenges[0], "user:pass:word", "/a?b", "0123abcd");
    } catch (const PP::httpRequestErrors::auth_error&) {
        // Not answerable as Digest.
    }
    std::string line = PP::buildAuthorization("CONNECT", challenges, "u:p", "host:443");
    if (line.rfind("Basic ", 0) != 0 && line.rfind("Digest ", 0) != 0) __builtin_trap();
    return 0;
}
