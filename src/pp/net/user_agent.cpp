#include "pp/net/user_agent.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace PP {

namespace {

struct registry {
    std::mutex lock;
    std::vector<std::pair<double, std::string>> entries;
};

// Built on first use, so registration from any static initialiser finds it ready.
registry& products() {
    static registry r;
    return r;
}

}  // namespace

void registerUserAgentProduct(std::string text, double orderKey) {
    registry& r = products();
    std::lock_guard<std::mutex> guard(r.lock);
    r.entries.emplace_back(orderKey, std::move(text));
}

std::string defaultUserAgent() {
    registry& r = products();
    std::vector<std::pair<double, std::string>> sorted;
    {
        std::lock_guard<std::mutex> guard(r.lock);
        sorted = r.entries;
    }
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string text;
    for (const auto& e : sorted) {
        if (!text.empty()) text += ' ';
        text += e.second;
    }
    return text;
}

}  // namespace PP
