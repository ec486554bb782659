#pragma once
// The default User-Agent text: products register themselves from static initialisers with an
// order key; the text is their names by ascending key, joined by blanks.
#include <string>

namespace PP {

void registerUserAgentProduct(std::string text, double orderKey);
// Empty when nothing is registered: then no header is sent.
std::string defaultUserAgent();

// For a static initialiser: `static PP::userAgentProduct p("Name/1.0", 10.0);`
struct userAgentProduct {
    userAgentProduct(std::string text, double orderKey) { registerUserAgentProduct(std::move(text), orderKey); }
};

}  // namespace PP
