#pragma once
// The value of an "Authorization: " or "Proxy-Authorization: " line from the challenges a
// server or proxy sent, and the process-wide store of those challenges.
#include <string>
#include <string_view>
#include <vector>

namespace PP {

// Challenges by hostKey (compared without regard to case). Entries are replaced, never removed.
class challengeStore {
public:
    static challengeStore& instance();
    std::vector<std::string> get(const std::string& key);
    void set(const std::string& key, std::vector<std::string> challenges);

private:
    challengeStore() = default;
    struct impl;
    impl& data();
};

// The first answerable challenge, in order; Basic when none is (or the list is empty).
// `credentials` is "user:password".
std::string buildAuthorization(const std::string& method, const std::vector<std::string>& challenges,
                               const std::string& credentials, const std::string& uri);
// Digest or Basic by the challenge's first word; any other throws httpRequest::auth_error.
std::string answerChallenge(const std::string& method, const std::string& challenge, const std::string& credentials,
                            const std::string& uri);
// A parameter of a challenge: tokens split at blanks and commas outside double quotes; the
// one that starts with `name=` (any case). A quoted value runs to the next double quote; a
// token whose value is not quoted then has none. False when there is no such value.
bool challengeParam(std::string_view challenge, std::string_view name, bool quoted, std::string& value);
std::string basicAuthorization(const std::string& credentials);
// A new GUID as 32 lower-case hex digits: Digest's client nonce, a multipart boundary.
std::string newGuidText();
// The Digest answer with a given client nonce (the public form draws a fresh one).
std::string digestAuthorization(const std::string& method, const std::string& challenge, const std::string& credentials,
                                const std::string& uri, const std::string& cnonce);

}  // namespace PP
