#include "pp/net/proxy.h"

#include <mutex>

#include "pp/exceptions.h"
#include "pp/http/authorization.h"
#include "pp/http/http_errors.h"
#include "pp/http/status_line.h"

namespace PP {

namespace {

struct proxyState {
    std::mutex lock;
    proxySecureFactory secure;
};

proxyState& state() {
    static proxyState s;
    return s;
}

bool startsWithNoCase(std::string_view text, std::string_view prefix) {
    if (text.size() < prefix.size()) return false;
    for (size_t i = 0; i < prefix.size(); ++i) {
        char a = text[i], b = prefix[i];
        if (a >= 'A' && a <= 'Z') a = char(a - 'A' + 'a');
        if (b >= 'A' && b <= 'Z') b = char(b - 'A' + 'a');
        if (a != b) return false;
    }
    return true;
}

[[noreturn]] void invalidReply() {
    throw httpRequestErrors::invalid_reply(httpRequestErrors::invalid_reply::fixedText());
}

std::string trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
    return std::string(s);
}

}  // namespace

void setProxySecureFactory(proxySecureFactory factory) {
    std::lock_guard<std::mutex> g(state().lock);
    state().secure = std::move(factory);
}

std::vector<std::string> readProxyReplyHead(streamIn& s) {
    std::vector<std::string> lines;
    for (;;) {
        std::string line;
        bool complete;
        try {
            complete = readLine(s, line, proxyReplyLineLimit);
        } catch (const invalid_input&) {
            invalidReply();  // a line over the limit
        }
        if (!complete) invalidReply();
        if (line.empty()) break;
        if (lines.size() >= proxyReplyMaxLines) invalidReply();
        lines.push_back(std::move(line));
    }
    if (lines.empty()) invalidReply();
    return lines;
}

std::shared_ptr<netStreamBase> connectViaProxy(const std::string& proxyUrl, const std::string& host,
                                               const std::string& port, uint32_t, double timeoutSeconds) {
    parsedUrl proxy;
    if (!parseUrl(proxyUrl, proxy, "http")) throwFixed<invalid_proxy_url>();
    // An IPv6 literal goes in brackets, so that its colons are not read as the port's.
    const bool bare6 = host.find(':') != std::string::npos && host.front() != '[';
    const std::string target = (bare6 ? "[" + host + "]" : host) + ":" + port;
    const std::string key = hostKey(proxy);
    std::vector<std::string> challenges = challengeStore::instance().get(key);
    for (;;) {
        std::shared_ptr<netStreamBase> s;
        uint32_t connectFlags = 0;
        if (proxy.scheme == "http") {
            s = std::make_shared<netStream>();
        } else if (proxy.scheme == "https") {
            proxySecureFactory factory;
            {
                std::lock_guard<std::mutex> g(state().lock);
                factory = state().secure;
            }
            if (!factory) throwFixed<not_implemented>();
            s = factory(proxy.host);
            connectFlags = connectSecure;
        } else {
            throwFixed<invalid_proxy_url>();
        }
        s->setTimeout(timeoutSeconds);
        s->connect(proxy.host, proxy.port, connectFlags);

        std::string request = "CONNECT " + target + " HTTP/1.1\r\nHost: " + target + "\r\n";
        if (!challenges.empty() && !proxy.user.empty()) {
            std::string value = buildAuthorization("CONNECT", challenges, proxy.user + ":" + proxy.password, target);
            checkHeaderText(value);
            request += "Proxy-Authorization: " + value + "\r\n";
        }
        request += "\r\n";
        s->write(request.data(), request.size());

        std::vector<std::string> lines = readProxyReplyHead(*s);
        int32_t status = 0;
        std::string reason;
        if (!parseStatusLine(lines[0], status, reason)) invalidReply();
        if (status == 200) return s;
        if (status == 407 && !proxy.user.empty() && challenges.empty()) {
            for (size_t i = 1; i < lines.size(); ++i) {
                size_t colon = lines[i].find(':');
                if (colon != std::string::npos && startsWithNoCase(lines[i], "proxy-authenticate") &&
                    colon == std::string_view("proxy-authenticate").size())
                    challenges.push_back(trim(std::string_view(lines[i]).substr(colon + 1)));
            }
            if (challenges.empty()) invalidReply();
            s->close();
            challengeStore::instance().set(key, challenges);
            continue;
        }
        throw httpRequestErrors::error(httpStatusText(reason, status));
    }
}

}  // namespace PP
