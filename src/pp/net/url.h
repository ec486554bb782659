#pragma once
// URLs as six strings: splitting, rejoining, resolving a location against a base, and the
// rules a redirect follows. Narrow text only; bytes above 127 are escaped where a URL is
// normalised.
#include <string>
#include <string_view>

namespace PP {

struct parsedUrl {
    std::string scheme;  // lower case
    std::string user;
    std::string password;
    std::string host;
    std::string port;  // as written; the scheme's default when the URL names none
    std::string path;  // with the query; "/" at least
};

// The default port of a scheme (case-insensitive): http 80, https 443, ftp and ftpes 21,
// ftps 990; 0 for any other.
unsigned defaultPort(std::string_view scheme);

// Splits `text`; without "://" the default scheme is used when given (else false). An empty
// host is false.
bool parseUrl(std::string_view text, parsedUrl& out, std::string_view defaultScheme = {});
// parseUrl that throws invalid_url.
parsedUrl urlParse(std::string_view text, std::string_view defaultScheme = {});

// host, and ":port" unless the port is the scheme's default.
std::string hostKey(const parsedUrl& u);
std::string schemePrefix(const parsedUrl& u);
// "user[:password]@", or empty when there is no user information.
std::string userInfo(const parsedUrl& u);
std::string buildUrl(const parsedUrl& u);
std::string buildUrlNoUser(const parsedUrl& u);
// Same scheme, host and port, byte for byte.
bool samePlace(const parsedUrl& a, const parsedUrl& b);
// samePlace with equal user and password too.
bool sameInAll(const parsedUrl& a, const parsedUrl& b);

// The simple split for front ends: http and https only.
struct httpUrlParts {
    std::string host;
    std::string port;  // "80" or "443" when the URL names none
    std::string path;
    std::string userInfo;
    bool secure = false;
};
bool parseHttpUrl(std::string_view text, httpUrlParts& out);
// An http URL without user information that parseHttpUrl takes.
bool isPlainHttpUrl(std::string_view text);

// `location` resolved against `base`; a location with "://" stands as it is. A base without
// "://" throws invalid_input.
std::string resolveUrl(std::string_view base, std::string_view location);
// Blanks and bytes with the top bit set become "%xx" (lower-case hexadecimal).
std::string normaliseUrlBytes(std::string_view url);
// The URL a redirect from `oldUrl` to the resolved `newUrl` fetches: credentials carry over
// only to the same place, and an unescaped path is escaped. Invalid URLs throw invalid_url.
std::string redirectTarget(std::string_view oldUrl, std::string_view newUrl);

}  // namespace PP
