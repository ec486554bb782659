#include "pp/http/authorization.h"

#include <map>
#include <mutex>
#include <stdexcept>

#include "foundation/platform/guid.h"
#include "pp/ascii_case.h"
#include "pp/http/cookie_store.h"
#include "pp/http/hasher_md5.h"
#include "pp/http/http_errors.h"
#include "pp/net/base64.h"

namespace PP {

namespace {

[[noreturn]] void authFailure() { throw httpRequestErrors::auth_error(httpRequestErrors::auth_error::fixedText()); }

std::string firstWord(std::string_view s) {
    size_t start = s.find_first_not_of(' ');
    if (start == std::string_view::npos) return std::string();
    size_t end = s.find(' ', start);
    return std::string(s.substr(start, end == std::string_view::npos ? end : end - start));
}

}  // namespace

std::string newGuidText() {
    uint8_t bytes[16];
    if (!XNewGuid(bytes)) throw std::runtime_error("CoCreateGuid failure");
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (uint8_t b : bytes) {
        out += hex[b >> 4];
        out += hex[b & 15];
    }
    return out;
}

struct challengeStore::impl {
    std::mutex lock;
    std::map<std::string, std::vector<std::string>, noCaseLess> entries;
};

challengeStore& challengeStore::instance() {
    static challengeStore store;
    return store;
}

challengeStore::impl& challengeStore::data() {
    static impl d;
    return d;
}

std::vector<std::string> challengeStore::get(const std::string& key) {
    std::lock_guard<std::mutex> g(data().lock);
    auto it = data().entries.find(key);
    return it == data().entries.end() ? std::vector<std::string>() : it->second;
}

void challengeStore::set(const std::string& key, std::vector<std::string> challenges) {
    std::lock_guard<std::mutex> g(data().lock);
    data().entries[key] = std::move(challenges);
}

bool challengeParam(std::string_view challenge, std::string_view name, bool quoted, std::string& value) {
    size_t i = 0;
    while (i < challenge.size()) {
        while (i < challenge.size() && (challenge[i] == ' ' || challenge[i] == ',')) ++i;
        size_t start = i;
        bool inQuotes = false;
        while (i < challenge.size() && (inQuotes || (challenge[i] != ' ' && challenge[i] != ','))) {
            if (challenge[i] == '"') inQuotes = !inQuotes;
            ++i;
        }
        std::string_view token = challenge.substr(start, i - start);
        if (token.size() > name.size() && token[name.size()] == '=' &&
            equalNoCase(token.substr(0, name.size()), name)) {
            std::string_view rest = token.substr(name.size() + 1);
            if (!quoted) {
                value = std::string(rest);
                return true;
            }
            if (rest.empty() || rest[0] != '"') continue;
            size_t close = rest.find('"', 1);
            value = std::string(rest.substr(1, close == std::string_view::npos ? std::string_view::npos : close - 1));
            return true;
        }
    }
    return false;
}

std::string basicAuthorization(const std::string& credentials) { return "Basic " + encodeBase64(credentials); }

std::string digestAuthorization(const std::string& method, const std::string& challenge, const std::string& credentials,
                                const std::string& uri, const std::string& cnonce) {
    size_t colon = credentials.find(':');
    if (colon == std::string::npos) authFailure();
    const std::string user = credentials.substr(0, colon);
    const std::string password = credentials.substr(colon + 1);
    std::string nonce, realm, algorithm, qop, opaque;
    if (!challengeParam(challenge, "nonce", true, nonce) || !challengeParam(challenge, "realm", true, realm))
        authFailure();
    if (!challengeParam(challenge, "algorithm", false, algorithm)) algorithm = "md5";
    const bool sess = equalNoCase(algorithm, "md5-sess");
    if (!sess && !equalNoCase(algorithm, "md5")) authFailure();
    const bool withQop = challengeParam(challenge, "qop", true, qop);
    if (withQop && !equalNoCase(qop, "auth")) authFailure();
    const std::string nc = "00000001";

    std::string line =
        "Digest username=\"" + user + "\", realm=\"" + realm + "\", nonce=\"" + nonce + "\", uri=\"" + uri + "\"";
    if (withQop) line += ", qop=" + qop + ", nc=" + nc + ", cnonce=\"" + cnonce + "\"";
    const std::string a2 = md5Hex(method + ":" + uri);
    std::string a1 = md5Hex(user + ":" + realm + ":" + password);
    if (sess) a1 = md5Hex(a1 + ":" + nonce + ":" + cnonce);
    std::string response = a1 + ":" + nonce;
    if (withQop) response += ":" + nc + ":" + cnonce + ":" + qop;
    response = md5Hex(response + ":" + a2);
    line += ", response=\"" + response + "\"";
    if (challengeParam(challenge, "opaque", true, opaque)) line += ", opaque=\"" + opaque + "\"";
    return line;
}

std::string answerChallenge(const std::string& method, const std::string& challenge, const std::string& credentials,
                            const std::string& uri) {
    const std::string scheme = firstWord(challenge);
    if (equalNoCase(scheme, "digest")) return digestAuthorization(method, challenge, credentials, uri, newGuidText());
    if (equalNoCase(scheme, "basic")) return basicAuthorization(credentials);
    authFailure();
}

std::string buildAuthorization(const std::string& method, const std::vector<std::string>& challenges,
                               const std::string& credentials, const std::string& uri) {
    for (const auto& c : challenges) {
        try {
            return answerChallenge(method, c, credentials, uri);
        } catch (const httpRequestErrors::auth_error&) {
            // Not answerable: the next one may be; Basic is the last resort.
        }
    }
    return basicAuthorization(credentials);
}

}  // namespace PP
