#include "pp/http/file_http.h"

#include <algorithm>
#include <mutex>

#include "foundation/platform/clock.h"
#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/file.h"
#include "pp/net/http_date.h"
#include "pp/wait.h"

namespace PP {

namespace {

constexpr double firstPauseSeconds = 0.5;
constexpr double longestPauseSeconds = 10.0;
constexpr double readRetryPauseSeconds = 1.0;

std::mutex g_setupLock;
httpFileSetup g_setup;

fileInPtr openHttpFile(const std::string& url) {
    auto f = std::make_shared<fileHttp>();
    httpFileSetup setup;
    {
        std::lock_guard<std::mutex> g(g_setupLock);
        setup = g_setup;
    }
    if (setup) setup(*f);
    f->open(url, "GET");
    return f;
}

}  // namespace

void setHttpFileSetup(httpFileSetup setup) {
    std::lock_guard<std::mutex> g(g_setupLock);
    g_setup = std::move(setup);
}

void installHttpFileOpener() { setUrlOpener(&openHttpFile); }

fileHttp::fileHttp() { request.connection.setTimeout(10.0); }

void fileHttp::enableIcy() {
    if (m_icy) return;
    m_icy = std::make_unique<icyReader>();
    if (m_icy->headerDirectOnly)
        request.addHeaderDirect("Icy-MetaData: 1");
    else
        request.addHeader("Icy-MetaData: 1");
}

void fileHttp::dropConnection() { request.close(); }

void fileHttp::retryLoop(const std::function<void()>& action) {
    const uint64_t start = XGetTickCount64();
    double pause = firstPauseSeconds;
    for (;;) {
        try {
            action();
            return;
        } catch (const network_error&) {
            dropConnection();
            if (double(XGetTickCount64() - start) / 1000.0 > retrySeconds) throw;
        }
        sleepSeconds(pause);
        pause = std::min(pause * 1.5, longestPauseSeconds);
    }
}

void fileHttp::afterReply() {
    std::string value;
    if (!m_firstReplySeen) {
        m_firstReplySeen = true;
        const bool hasLength = request.getHeader("content-length", value);
        m_seekable = request.status() == 206 || (hasLength && !request.hasHeaderValue("accept-ranges", "none"));
    }
    m_lastModified = 0;
    if (request.getHeader("last-modified", value)) {
        uint64_t t = 0;
        if (parseHttpDate(value, t)) m_lastModified = t;
    }
    m_icyActive = m_icy ? m_icy->reply(request) : false;
}

void fileHttp::open(const std::string& url, const std::string& method) {
    m_url = url;
    m_method = method;
    m_position = 0;
    m_firstReplySeen = false;
    retryLoop([&] {
        httpRequestInfo info;
        info.method = m_method;
        request.send(m_url, info);
        afterReply();
    });
    std::string value;
    m_length = unknownLength;
    if (request.getHeader("content-length", value)) {
        try {
            m_length = parseDecimal64(value);
        } catch (const std::exception&) {
            m_length = unknownLength;  // httpRequest has refused such a head already
        }
    }
}

bool fileHttp::getInfo(const std::string& name, std::string& value) { return request.getHeader(name, value); }

void fileHttp::reopen(uint64_t position) {
    httpRequestInfo info;
    info.method = m_method;
    if (position != 0) info.rangeStart = position;
    request.send(m_url, info);
    m_position = position;
    afterReply();
}

void fileHttp::seekOnce(uint64_t target) {
    if (m_url.empty() || !m_seekable) throwFixed<invalid_input>();
    if (m_length != unknownLength && target > m_length) throwFixed<invalid_input>();
    if (target == m_length) {
        // The end of a file needs no request.
        dropConnection();
        m_position = target;
        return;
    }
    if (!request.connection.isOpen() || target < m_position || target - m_position > httpSkipWindow) {
        reopen(target);
        return;
    }
    if (target == m_position) return;
    const uint64_t ahead = target - m_position;
    uint8_t scratch[4096];
    uint64_t left = ahead;
    while (left > 0) {
        const size_t n = m_icyActive
                             ? m_icy->read(request, scratch, size_t(std::min<uint64_t>(left, sizeof scratch)), false)
                             : request.read(scratch, size_t(std::min<uint64_t>(left, sizeof scratch)));
        if (n == 0) throwFixed<invalid_input>();
        left -= n;
        m_position += n;
    }
}

void fileHttp::seek(uint64_t position) {
    if (request.connection.isOpen() && m_position == position) return;
    retryLoop([&] { seekOnce(position); });
}

size_t fileHttp::read(void* buffer, size_t length) { return streamCopyLoop(*this, buffer, length); }

size_t fileHttp::readSome(void* buffer, size_t length) {
    if (m_length != unknownLength)
        length = size_t(std::min<uint64_t>(length, m_length - std::min(m_length, m_position)));
    if (length == 0) return 0;
    // A reply without a length, chunked or not, closes its connection at its end: that is the
    // end of the file, not a drop.
    if (request.bodyEnded()) return 0;
    if (!request.connection.isOpen()) throwFixed<network_error>();
    const size_t step = std::min(length, httpReadStep);
    // Resuming must move forward: a server that keeps dropping without giving a byte is given
    // up after the retry time.
    uint64_t stalledSince = 0;
    for (;;) {
        size_t n = 0;
        try {
            n = m_icyActive ? m_icy->read(request, buffer, step, true) : request.readSome(buffer, step);
        } catch (const network_error&) {
            if (!m_seekable) throw;
            if (stalledSince == 0) stalledSince = XGetTickCount64();
            if (double(XGetTickCount64() - stalledSince) / 1000.0 > retrySeconds) throw;
            dropConnection();
            sleepSeconds(readRetryPauseSeconds);
            seek(m_position);
            continue;
        }
        m_position += n;
        if (n > 0) return n;
        if (!m_seekable || m_length == unknownLength || m_position >= m_length) return 0;
        // The server stopped early.
        if (stalledSince == 0) stalledSince = XGetTickCount64();
        if (double(XGetTickCount64() - stalledSince) / 1000.0 > retrySeconds) throwFixed<network_error>();
        dropConnection();
        seek(m_position);
    }
}

}  // namespace PP
