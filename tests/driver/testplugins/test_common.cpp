#include "test_common.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sstream>

void TvtLog(const std::string& line) {
    const char* path = std::getenv("TVT_LOG");
    if (path == nullptr || *path == 0) return;
    if (FILE* f = std::fopen(path, "a")) {
        std::fprintf(f, "%s\n", line.c_str());
        std::fclose(f);
    }
}

std::string TvtScript(const std::string& key, const std::string& fallback) {
    const char* script = std::getenv("TVT_SCRIPT");
    if (script == nullptr) return fallback;
    std::istringstream words(script);
    std::string word;
    while (words >> word) {
        const size_t eq = word.find('=');
        if (word.substr(0, eq) != key) continue;
        return eq == std::string::npos ? std::string() : word.substr(eq + 1);
    }
    return fallback;
}

bool TvtHas(const std::string& key) { return TvtScript(key) != "\x01"; }

long TvtNumber(const std::string& key, long fallback) {
    const std::string value = TvtScript(key);
    return value == "\x01" || value.empty() ? fallback : std::strtol(value.c_str(), nullptr, 10);
}

std::string Narrow(const TvChar16* text) {
    std::string out;
    for (; text != nullptr && *text != 0; ++text) out += *text < 128 ? static_cast<char>(*text) : '?';
    return out;
}

void TvtWriteHandle(TvOsHandle handle, const std::string& text) {
    if (handle == 0 || handle == -1) return;
    std::string bytes;
    for (char c : text + "\r\n") {
        bytes += c;
        bytes += '\0';
    }
    ssize_t ignored = write(static_cast<int>(handle), bytes.data(), bytes.size());
    (void)ignored;
}

void TvtSleep(long milliseconds) {
    timespec t{milliseconds / 1000, (milliseconds % 1000) * 1000000};
    nanosleep(&t, nullptr);
}
