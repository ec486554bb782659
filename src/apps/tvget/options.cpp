#include "options.h"

#include <exception>

#include "pp/exceptions.h"

namespace tvget {

const char* const usageText =
    "usage: tvget [-o FILE] [--head] [--seek POS] [--bytes N] [--icy] [--proxy URL] [--insecure]\n"
    "             [--header \"Name: value\"]... [--post-form name=value]... [--max-redirects N]\n"
    "             [--ignore-status] URL";

namespace {

bool number(const std::string& text, uint64_t& value) {
    if (text.empty()) return false;
    try {
        value = PP::parseDecimal64(text);
    } catch (const std::exception&) {
        return false;  // not digits, or too large: the caller names the option
    }
    return true;
}

}  // namespace

bool parseOptions(const std::vector<std::string>& args, options& out, std::string& error) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&](std::string& v) {
            if (i + 1 >= args.size()) {
                error = "option " + a + " needs a value";
                return false;
            }
            v = args[++i];
            return true;
        };
        std::string v;
        if (a == "-o") {
            if (!value(out.outputFile)) return false;
        } else if (a == "--head") {
            out.head = true;
        } else if (a == "--seek") {
            if (!value(v)) return false;
            if (!number(v, out.seekPosition)) {
                error = "invalid position: " + v;
                return false;
            }
            out.seek = true;
        } else if (a == "--bytes") {
            if (!value(v)) return false;
            if (!number(v, out.bytes)) {
                error = "invalid byte count: " + v;
                return false;
            }
            out.limitBytes = true;
        } else if (a == "--icy") {
            out.icy = true;
        } else if (a == "--proxy") {
            if (!value(out.proxy)) return false;
        } else if (a == "--insecure") {
            out.insecure = true;
        } else if (a == "--header") {
            if (!value(v)) return false;
            out.headers.push_back(v);
        } else if (a == "--post-form") {
            if (!value(v)) return false;
            const size_t eq = v.find('=');
            if (eq == std::string::npos || eq == 0) {
                error = "invalid form field: " + v;
                return false;
            }
            out.formFields.emplace_back(v.substr(0, eq), v.substr(eq + 1));
        } else if (a == "--max-redirects") {
            if (!value(v)) return false;
            uint64_t n = 0;
            if (!number(v, n) || n > 0xFFFFFFFFu) {
                error = "invalid redirect count: " + v;
                return false;
            }
            out.maxRedirects = uint32_t(n);
            out.maxRedirectsSet = true;
        } else if (a == "--ignore-status") {
            out.ignoreStatus = true;
        } else if (a.size() > 1 && a[0] == '-') {
            error = "unknown option: " + a;
            return false;
        } else if (out.url.empty()) {
            out.url = a;
        } else {
            error = "more than one URL";
            return false;
        }
    }
    if (out.url.empty()) {
        error = usageText;
        return false;
    }
    if (out.head && !out.formFields.empty()) {
        error = "--head and --post-form exclude each other";
        return false;
    }
    return true;
}

}  // namespace tvget
