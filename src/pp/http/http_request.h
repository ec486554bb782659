#pragma once
// One HTTP/1.1 exchange at a time over a netStreamSecure; the object is itself the stream of
// the reply's body. send runs the whole loop of redirects, challenges and cookies.
#include <cstdint>
#include <string>
#include <vector>

#include "pp/http/cookie_store.h"
#include "pp/http/http_errors.h"
#include "pp/http/reply_buffer.h"
#include "pp/net/net_stream_secure.h"
#include "pp/stream.h"

namespace PP {

struct httpFormField {
    std::string name;
    std::string fileName;
    std::string contentType;
    std::vector<uint8_t> data;
};

struct httpRequestInfo {
    std::string method = "GET";
    uint64_t rangeStart = unknownLength;
    uint64_t rangeEnd = unknownLength;
    // Receives the Authorization value sent, when given.
    std::string* authorization = nullptr;
};

class httpProxyResolver {
public:
    virtual ~httpProxyResolver() = default;
    // The proxy URL for `url`, empty for none.
    virtual std::string proxyFor(const std::string& url) = 0;
};

// Form fields whose data sum to less than this go as a urlencoded form, others as multipart.
constexpr size_t formEncodedLimit = 16384;

class httpRequest : public streamIn, public httpRequestErrors {
public:
    httpRequest();
    httpRequest(const httpRequest&) = delete;
    httpRequest& operator=(const httpRequest&) = delete;
    ~httpRequest() override;

    bool ignoreStatus = false;
    bool keepAlive = false;
    bool tunnelHttps = true;
    bool noProxy = false;
    httpCookieStorePtr cookieStore;
    uint32_t maxRedirects = 10;
    std::vector<httpFormField> formFields;
    netStreamSecure connection;
    httpProxyResolver* proxyResolver = nullptr;
    std::string proxyUrl;

    // One line each; a text with CR or LF throws std::invalid_argument("invalid HTTP header").
    void addHeader(const std::string& line);
    void addHeaderProxied(const std::string& line);
    void addHeaderDirect(const std::string& line);
    // Several lines at once, CR LF separated; the last CR LF is added when missing.
    void addHeaderLines(const std::string& lines);
    // A raw body instead of form fields; the memory must outlive send.
    void setBody(const void* data, size_t length, std::string type);

    void send(const std::string& url, const httpRequestInfo& info = {});

    bool getHeader(const std::string& name, std::string& value) const;
    bool getHeaderAll(const std::string& name, std::vector<std::string>& values) const;
    bool hasHeaderValue(const std::string& name, const std::string& value) const;
    bool hasHeaderValuePrefix(const std::string& name, const std::string& prefix) const;

    size_t read(void* buffer, size_t length) override;
    size_t readSome(void* buffer, size_t length) override;
    void close();

    int32_t status() const { return m_status; }
    const std::string& statusLine() const { return m_statusLine; }
    const std::string& reason() const { return m_reason; }
    const std::string& replyHeaders() const { return m_replyHeaders; }
    const std::string& finalUrl() const { return m_finalUrl; }
    uint64_t bodyLeft() const { return m_bodyLeft; }
    // The whole body of the last reply has been read (its connection may be closed with it).
    bool bodyEnded() const { return m_chunked ? m_chunkEnd : m_bodyLeft == 0; }
    bool connectionKept() const { return m_connectionKept; }

private:
    size_t readChunked(void* buffer, size_t length);
    void endOfBody();
    bool canReuse();
    void sendBody(std::string& head, const std::string& method, bool& partial);

    replyBuffer m_in{connection};
    std::string m_headers, m_headersProxied, m_headersDirect;
    std::string m_replyHeaders;
    bool m_chunked = false;
    uint64_t m_chunkLeft = 0;
    bool m_chunkEnd = false;
    bool m_chunkFirst = false;
    bool m_connectionKept = false;
    std::string m_statusLine;
    std::string m_reason;
    int32_t m_status = 0;
    const void* m_bodyData = nullptr;
    size_t m_bodyLength = 0;
    std::string m_bodyType;
    uint64_t m_bodyLeft = unknownLength;
    std::string m_connectedHost, m_connectedPort;
    bool m_connectedSecure = false;
    std::string m_finalUrl;
};

// Keep-alive of a head parsed elsewhere: without "Connection", HTTP/1.1 and later keep the
// connection and older versions close it.
bool replyKeepsAlive(const std::string& statusLine, const std::string& headers);

}  // namespace PP
