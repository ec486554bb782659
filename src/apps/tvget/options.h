#pragma once
// The command line of tvget.
#include <cstdint>
#include <string>
#include <vector>

namespace tvget {

struct options {
    std::string url;
    std::string outputFile;  // empty: standard output
    bool head = false;
    bool seek = false;
    uint64_t seekPosition = 0;
    bool limitBytes = false;
    uint64_t bytes = 0;
    bool icy = false;
    std::string proxy;
    bool insecure = false;
    std::vector<std::string> headers;
    std::vector<std::pair<std::string, std::string>> formFields;
    bool maxRedirectsSet = false;
    uint32_t maxRedirects = 10;
    bool ignoreStatus = false;
};

// Fills `out` from the arguments behind the program name; false with the reason in `error`.
bool parseOptions(const std::vector<std::string>& args, options& out, std::string& error);

extern const char* const usageText;

}  // namespace tvget
