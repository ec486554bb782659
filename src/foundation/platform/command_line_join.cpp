// The argument vector joined into one command line that the option grammar splits back into
// the same options: what POSIX lacks, and what tests compare on every system.
#include <string>
#include <vector>

#include "foundation/platform/console.h"

namespace {

// A value the grammar reads back unchanged without quotes.
bool IsPlainValue(const std::string& value) {
    if (value.empty()) return false;
    char first = value[0];
    if (first == '-' || first == '"' || first == '=' || first == ' ') return false;
    return value.find(' ') == std::string::npos;
}

void AppendValue(std::string& out, const std::string& value) {
    if (IsPlainValue(value)) {
        out += value;
        return;
    }
    out += '"';
    for (char c : value) {
        if (c != '"') out += c;
    }
    out += '"';
}

// Walks the items exactly as XOptionList::FromArguments does and writes each option in a form
// that the grammar parses back to the same name and value.
std::string Join(const std::vector<const char*>& args) {
    std::string out = "\"";
    if (!args.empty()) {
        for (const char* c = args[0]; *c != '\0'; ++c) {
            if (*c != '"') out += *c;
        }
    }
    out += '"';
    size_t count = args.size();
    for (size_t i = 1; i < count; ++i) {
        std::string item = args[i];
        size_t dash = item.find('-');
        if (dash == std::string::npos) break;
        size_t n = dash + 1;
        if (n < item.size() && item[n] == '-') ++n;
        size_t eq = item.find('=', n);
        std::string name;
        std::string value;
        char separator = 0;
        if (eq != std::string::npos) {
            name = item.substr(n, eq - n);
            value = item.substr(eq + 1);
            separator = '=';
        } else {
            name = item.substr(n);
            if (i + 1 < count && args[i + 1][0] != '-') {
                value = args[i + 1];
                separator = ' ';
                ++i;
            }
        }
        if (name.empty() || name.find_first_of(" \"") != std::string::npos) continue;
        out += name[0] == '-' ? " --" : " -";
        out += name;
        if (separator != 0) {
            out += separator;
            AppendValue(out, value);
        }
    }
    return out;
}

}  // namespace

XString XJoinCommandLine(int argc, const char* const* argv) {
    std::vector<const char*> args;
    for (int i = 0; i < argc; ++i) args.push_back(argv[i] != nullptr ? argv[i] : "");
    std::string joined = Join(args);
    return XString(joined.c_str(), true);
}
