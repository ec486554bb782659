#include "pp/http/http_request.h"

#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/http/authorization.h"
#include "pp/http/reply_head.h"
#include "pp/net/escape.h"
#include "pp/net/url.h"
#include "pp/net/user_agent.h"

namespace PP {

namespace {

[[noreturn]] void invalidReply() {
    throw httpRequestErrors::invalid_reply(httpRequestErrors::invalid_reply::fixedText());
}

[[noreturn]] void badUrl() { throw httpRequestErrors::bad_url(httpRequestErrors::bad_url::fixedText()); }

// `headers` without its "Connection" lines.
std::string withoutConnectionLines(const std::string& headers) {
    std::string out;
    size_t start = 0;
    while (start < headers.size()) {
        size_t end = headers.find("\r\n", start);
        end = end == std::string::npos ? headers.size() : end + 2;
        std::string_view line(headers.data() + start, end - start);
        if (!startsNoCase(line, "connection:")) out.append(line);
        start = end;
    }
    return out;
}

std::string pathOnly(const std::string& pathWithQuery) {
    size_t q = pathWithQuery.find('?');
    return q == std::string::npos ? pathWithQuery : pathWithQuery.substr(0, q);
}

std::string hostForHead(const std::string& host) {
    return host.find(':') != std::string::npos && host.front() != '[' ? "[" + host + "]" : host;
}

bool headerMissing(const std::string& headers, const char* name) {
    std::string ignored;
    return !findHeader(headers, name, ignored);
}

}  // namespace

httpRequest::httpRequest() { connection.setTimeout(60.0); }

httpRequest::~httpRequest() { close(); }

void httpRequest::addHeader(const std::string& line) {
    checkHeaderText(line);
    m_headers += line + "\r\n";
}

void httpRequest::addHeaderProxied(const std::string& line) {
    checkHeaderText(line);
    m_headersProxied += line + "\r\n";
}

void httpRequest::addHeaderDirect(const std::string& line) {
    checkHeaderText(line);
    m_headersDirect += line + "\r\n";
}

void httpRequest::addHeaderLines(const std::string& lines) {
    if (lines.empty()) return;
    m_headers += lines;
    if (lines.size() < 2 || lines.compare(lines.size() - 2, 2, "\r\n") != 0) m_headers += "\r\n";
}

void httpRequest::setBody(const void* data, size_t length, std::string type) {
    m_bodyData = data;
    m_bodyLength = length;
    m_bodyType = std::move(type);
}

bool httpRequest::getHeader(const std::string& name, std::string& value) const {
    return findHeader(m_replyHeaders, name, value);
}

bool httpRequest::getHeaderAll(const std::string& name, std::vector<std::string>& values) const {
    return findHeaderAll(m_replyHeaders, name, values);
}

bool httpRequest::hasHeaderValue(const std::string& name, const std::string& value) const {
    std::string v;
    return getHeader(name, v) && equalNoCase(v, value);
}

bool httpRequest::hasHeaderValuePrefix(const std::string& name, const std::string& prefix) const {
    std::string v;
    return getHeader(name, v) && startsNoCase(v, prefix);
}

void httpRequest::close() {
    m_connectionKept = false;
    connection.close();
    m_in.clear();
    m_connectedHost.clear();
    m_connectedPort.clear();
}

bool httpRequest::canReuse() {
    if (!connection.isOpen() || !m_connectionKept) return false;
    if (!bodyEnded()) return false;
    if (m_in.held() > 0) return false;  // more than the reply said
    try {
        connection.checkAlive();
    } catch (const network_error&) {
        return false;  // the peer closed the idle connection: a new one serves
    }
    return true;
}

void httpRequest::sendBody(std::string& head, const std::string& method, bool& partial) {
    if (method != "POST" && method != "NOTIFY") {
        head += "\r\n";
        connection.write(head.data(), head.size());
        return;
    }
    if (m_bodyLength > 0) {
        head += "Content-Length: " + std::to_string(m_bodyLength) + "\r\n";
        if (!m_bodyType.empty()) head += "Content-Type: " + m_bodyType + "\r\n";
        head += "\r\n";
        const size_t headLength = head.size();
        head.append(static_cast<const char*>(m_bodyData), m_bodyLength);
        if (connection.sendAll(head.data(), head.size()) < head.size()) partial = true;
        head.resize(headLength);
        return;
    }
    bool simple = true;
    size_t total = 0;
    for (const auto& f : formFields) {
        if (!f.fileName.empty() || !f.contentType.empty()) simple = false;
        total += f.data.size();
    }
    if (simple && total < formEncodedLimit) {
        std::string body;
        for (const auto& f : formFields) {
            if (!body.empty()) body += "&";
            body += f.name + "=" +
                    escapeQuery(std::string_view(reinterpret_cast<const char*>(f.data.data()), f.data.size()));
        }
        head += "Content-Type: application/x-www-form-urlencoded\r\n";
        head += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
        const std::string all = head + body;
        if (connection.sendAll(all.data(), all.size()) < all.size()) {
            partial = true;
            return;
        }
        // Two closing bytes outside the counted length, which older servers expected.
        if (connection.sendAll("\r\n", 2) < 2) partial = true;
        return;
    }
    const std::string boundary = newGuidText();
    head += "Content-Type: multipart/form-data; boundary=" + boundary + "\r\n";
    std::string body;
    for (const auto& f : formFields) {
        body += "--" + boundary + "\r\n";
        body += "Content-Disposition: form-data; name=\"" + f.name + "\"";
        if (!f.fileName.empty()) body += "; filename=\"" + f.fileName + "\"";
        body += "\r\nContent-Length: " + std::to_string(f.data.size()) + "\r\n";
        if (!f.contentType.empty()) body += "Content-Type: " + f.contentType + "\r\n";
        body += "\r\n";
        body.append(reinterpret_cast<const char*>(f.data.data()), f.data.size());
        body += "\r\n";
    }
    body += "--" + boundary + "--\r\n";
    head += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
    connection.write(head.data(), head.size());
    if (connection.sendAll(body.data(), body.size()) < body.size()) partial = true;
}

void httpRequest::send(const std::string& urlText, const httpRequestInfo& info) {
    if (!cookieStore) cookieStore = std::make_shared<httpCookieStore>();
    challengeStore& credentials = challengeStore::instance();
    std::string url = urlText;
    uint32_t redirectsLeft = maxRedirects;
    bool authTried = false;
    const std::string& method = info.method;
    checkHeaderText(url);
    checkHeaderText(method);

    for (;;) {
        checkAbort();
        const size_t schemeEnd = url.find("://");
        if (url.size() < 3 || schemeEnd == std::string::npos) badUrl();
        if (url.find('/', schemeEnd + 3) == std::string::npos) url += "/";

        std::string proxyText = proxyResolver ? proxyResolver->proxyFor(url) : proxyUrl;
        parsedUrl proxy;
        if (!proxyText.empty()) {
            if (!parseUrl(proxyText, proxy, "http") || (proxy.scheme != "http" && proxy.scheme != "https"))
                throwFixed<invalid_proxy_url>();
        }

        const bool reusable = canReuse();
        m_chunked = false;
        m_status = 0;
        m_statusLine.clear();
        m_reason.clear();
        m_replyHeaders.clear();
        m_bodyLeft = unknownLength;

        parsedUrl target;
        if (!parseUrl(url, target)) badUrl();
        if (target.scheme != "http" && target.scheme != "https") badUrl();
        const bool secure = target.scheme == "https";
        const bool proxied = !proxy.host.empty() && !noProxy && (!secure || !tunnelHttps);
        std::vector<std::string> proxyChallenges;
        if (proxied) proxyChallenges = credentials.get(hostKey(proxy));

        std::string head = method;
        if (proxied || !target.path.empty()) head += " " + (proxied ? url : target.path);
        head += " HTTP/1.1\r\n";
        head += "Host: " + hostForHead(target.host);
        if (target.port != std::to_string(defaultPort(target.scheme))) head += ":" + target.port;
        head += "\r\n";
        if (!target.user.empty()) {
            std::vector<std::string> challenges = credentials.get(hostKey(target));
            // Plain http waits for a challenge; on https Basic goes out at once.
            if (!challenges.empty() || secure) {
                std::string value =
                    buildAuthorization(method, challenges, target.user + ":" + target.password, target.path);
                checkHeaderText(value);
                if (info.authorization) *info.authorization = value;
                head += "Authorization: " + value + "\r\n";
            }
        }
        if (proxied && !proxy.user.empty() && !proxyChallenges.empty()) {
            std::string value = buildAuthorization(method, proxyChallenges, proxy.user + ":" + proxy.password, url);
            checkHeaderText(value);
            head += "Proxy-Authorization: " + value + "\r\n";
        }
        m_headers = withoutConnectionLines(m_headers);
        if (!headerMissing(m_headers, "Range")) throwFixed<invalid_input>();
        if (info.rangeStart != unknownLength || info.rangeEnd != unknownLength) {
            head += "Range: bytes=" + (info.rangeStart != unknownLength ? std::to_string(info.rangeStart) : "0") + "-";
            if (info.rangeEnd != unknownLength) head += std::to_string(info.rangeEnd);
            head += "\r\n";
        }
        if (!keepAlive) head += "Connection: close\r\n";
        if (headerMissing(m_headers, "User-Agent")) {
            std::string agent = defaultUserAgent();
            if (!agent.empty()) head += "User-Agent: " + agent + "\r\n";
        }
        if (headerMissing(m_headers, "Accept")) head += "Accept: */*\r\n";
        if (cookieStore) {
            auto cookies = cookieStore->cookiesFor(target.host, pathOnly(target.path), true, secure);
            if (!cookies.empty()) {
                std::string line;
                for (const auto& [name, value] : cookies) {
                    if (!line.empty()) line += "; ";
                    line += name + "=" + value;
                }
                head += "Cookie: " + line + "\r\n";
            }
        }
        head += m_headers;
        head += proxied ? m_headersProxied : m_headersDirect;

        std::string host = target.host, port = target.port;
        bool secureConnect = secure;
        if (proxied) {
            host = proxy.host;
            port = proxy.port;
            secureConnect = proxy.scheme == "https";
        }
        const std::string tunnel = !proxied && !proxy.host.empty() && !noProxy ? proxyText : std::string();
        if (!(reusable && host == m_connectedHost && port == m_connectedPort && secureConnect == m_connectedSecure &&
              tunnel == connection.proxyUrl())) {
            close();
            connection.setProxyUrl(tunnel);
            connection.connect(host, port, secureConnect ? connectSecure : connectPlain);
            m_connectedHost = host;
            m_connectedPort = port;
            m_connectedSecure = secureConnect;
        }
        m_in.clear();

        bool partial = false;
        sendBody(head, method, partial);

        readReplyHead(m_in, m_statusLine, m_replyHeaders);
        m_finalUrl = url;
        if (!parseReplyStatus(m_statusLine, m_status, m_reason)) invalidReply();
        m_connectionKept = !partial && keepAlive && !hasHeaderValue("Connection", "close");

        std::vector<std::string> setCookies;
        if (getHeaderAll("Set-Cookie", setCookies))
            for (const auto& c : setCookies) cookieStore->storeCookie(target.host, pathOnly(target.path), c);

        std::string encoding;
        if (getHeader("transfer-encoding", encoding)) {
            std::string first = encoding.substr(0, encoding.find_first_of(" \t,;"));
            if (equalNoCase(first, "chunked")) {
                m_chunked = true;
                m_chunkFirst = true;
                m_chunkEnd = false;
                m_chunkLeft = 0;
            }
        }
        std::string lengthText;
        if (method == "HEAD") {
            m_bodyLeft = 0;
        } else if (!m_chunked && getHeader("content-length", lengthText)) {
            try {
                m_bodyLeft = parseDecimal64(lengthText);
            } catch (const std::exception&) {
                invalidReply();  // letters or an overflow in the length
            }
        }

        const std::string statusText = httpStatusText(m_reason, m_status);
        if (m_status >= 200 && m_status <= 299) return;
        switch (m_status) {
            case 301:
            case 302:
            case 303:
            case 307:
            case 308: {
                if ((method != "GET" && method != "HEAD") || redirectsLeft == 0) invalidReply();
                --redirectsLeft;
                std::string location;
                if (!getHeader("location", location)) invalidReply();
                checkHeaderText(location);
                std::string next = location.find("://") != std::string::npos ? location : resolveUrl(url, location);
                url = redirectTarget(url, next);
                authTried = false;
                continue;
            }
            case 400:
                if (ignoreStatus) return;
                throw bad_request(statusText);
            case 401: {
                std::vector<std::string> challenges;
                if (target.user.empty() || authTried) {
                    if (ignoreStatus) return;
                    throw error(statusText);
                }
                if (!getHeaderAll("WWW-Authenticate", challenges)) throw error(statusText);
                credentials.set(hostKey(target), challenges);
                authTried = true;
                continue;
            }
            case 403: {
                if (ignoreStatus) return;
                bool marker = false;
                if (hasHeaderValuePrefix("content-type", "text/"))
                    marker = readTextPrefix(*this, 1024, false).find("notukerror") != std::string::npos;
                throw denied(deniedText(m_reason, m_status, marker));
            }
            case 404:
                if (ignoreStatus) return;
                throwFixed<file_not_found>();
            case 405:
                if (ignoreStatus) return;
                throw method_not_allowed(statusText);
            case 407: {
                std::vector<std::string> challenges;
                if (!proxied || proxy.user.empty() || !proxyChallenges.empty()) {
                    if (ignoreStatus) return;
                    throw error(statusText);
                }
                if (!getHeaderAll("Proxy-Authenticate", challenges)) throw error(statusText);
                credentials.set(hostKey(proxy), challenges);
                continue;
            }
            default:
                if (ignoreStatus) return;
                throw error(statusText);
        }
    }
}

size_t httpRequest::read(void* buffer, size_t length) { return streamCopyLoop(*this, buffer, length); }

void httpRequest::endOfBody() {
    if (!m_connectionKept) connection.close();
}

size_t httpRequest::readSome(void* buffer, size_t length) {
    if (m_chunked) return readChunked(buffer, length);
    if (m_bodyLeft != unknownLength && m_bodyLeft < length) length = size_t(m_bodyLeft);
    if (m_bodyLeft == 0 || length == 0) return 0;
    size_t n = m_in.readSome(buffer, length);
    if (m_bodyLeft != unknownLength) {
        if (n > m_bodyLeft) throwFixed<bug_check>();
        m_bodyLeft -= n;
        if (m_bodyLeft == 0) endOfBody();
    }
    return n;
}

size_t httpRequest::readChunked(void* buffer, size_t length) {
    auto line = [this](std::string& text) {
        text.clear();
        try {
            if (!readLine(m_in, text, replyLineLimit)) invalidReply();
        } catch (const invalid_input&) {
            invalidReply();  // over the line limit
        }
    };
    size_t delivered = 0;
    while (!m_chunkEnd && delivered == 0 && length > 0) {
        checkAbort();
        if (m_chunkLeft == 0) {
            std::string text;
            line(text);
            if (!m_chunkFirst) {
                // The CR LF behind the chunk before.
                if (!text.empty()) invalidReply();
                line(text);
            }
            m_chunkFirst = false;
            if (text.empty()) invalidReply();
            try {
                m_chunkLeft = parseHex64(text);
            } catch (const std::exception&) {
                invalidReply();  // not a size
            }
            if (m_chunkLeft == 0) {
                m_chunkEnd = true;
                for (size_t count = 0;; ++count) {
                    std::string trailer;
                    bool complete;
                    try {
                        complete = readLine(m_in, trailer, replyLineLimit);
                    } catch (const invalid_input&) {
                        invalidReply();
                    }
                    if (trailer.empty()) break;
                    if (!complete || count >= replyMaxHeaderLines) invalidReply();
                }
                endOfBody();
                break;
            }
        }
        size_t n = m_in.readSome(buffer, size_t(std::min<uint64_t>(length, m_chunkLeft)));
        if (n == 0) invalidReply();
        m_chunkLeft -= n;
        delivered = n;
    }
    return delivered;
}

bool replyKeepsAlive(const std::string& statusLine, const std::string& headers) {
    const bool modern = !startsNoCase(statusLine, "HTTP/1.0") && !startsNoCase(statusLine, "HTTP/0.");
    std::string value;
    if (!findHeader(headers, "Connection", value)) return modern;
    return modern ? !equalNoCase(value, "close") : equalNoCase(value, "keep-alive");
}

}  // namespace PP
