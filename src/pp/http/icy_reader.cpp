#include "pp/http/icy_reader.h"

#include <algorithm>

#include "pp/abort.h"
#include "pp/http/http_request.h"
#include "pp/http/reply_head.h"

namespace PP {

namespace {

bool validUtf8(std::string_view s) {
    size_t i = 0;
    while (i < s.size()) {
        const uint8_t c = uint8_t(s[i]);
        size_t extra;
        uint32_t min;
        if (c < 0x80) {
            ++i;
            continue;
        } else if ((c & 0xE0) == 0xC0) {
            extra = 1;
            min = 0x80;
        } else if ((c & 0xF0) == 0xE0) {
            extra = 2;
            min = 0x800;
        } else if ((c & 0xF8) == 0xF0) {
            extra = 3;
            min = 0x10000;
        } else {
            return false;
        }
        if (i + extra >= s.size()) return false;
        uint32_t cp = c & (0x3F >> extra);
        for (size_t k = 1; k <= extra; ++k) {
            const uint8_t d = uint8_t(s[i + k]);
            if ((d & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (d & 0x3F);
        }
        if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
        i += extra + 1;
    }
    return true;
}

std::string trimRight(std::string s) {
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.pop_back();
    return s;
}

std::string trimLeft(std::string s) {
    size_t i = 0;
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t')) ++i;
    return s.substr(i);
}

}  // namespace

std::string icyTextToUtf8(std::string_view bytes) {
    if (validUtf8(bytes)) return std::string(bytes);
    // The stations that send something else mostly send Latin-1.
    std::string out;
    for (char ch : bytes) {
        const uint8_t c = uint8_t(ch);
        if (c < 0x80) {
            out += ch;
        } else {
            out += char(0xC0 | (c >> 6));
            out += char(0x80 | (c & 0x3F));
        }
    }
    return out;
}

void parseIcyBlock(std::string_view text, std::string& title, std::string& url) {
    title.clear();
    url.clear();
    const size_t zero = text.find('\0');
    if (zero != std::string_view::npos) text = text.substr(0, zero);
    size_t pos = 0;
    while (pos < text.size()) {
        const size_t keyEnd = text.find("='", pos);
        if (keyEnd == std::string_view::npos) break;
        const std::string_view key = text.substr(pos, keyEnd - pos);
        const size_t valueStart = keyEnd + 2;
        const size_t valueEnd = text.find("';", valueStart);
        const std::string_view value = valueEnd == std::string_view::npos
                                           ? text.substr(valueStart)
                                           : text.substr(valueStart, valueEnd - valueStart);
        if (equalNoCase(key, "streamtitle"))
            title = std::string(value);
        else if (equalNoCase(key, "streamurl"))
            url = std::string(value);
        if (valueEnd == std::string_view::npos) break;
        pos = valueEnd + 2;
    }
}

bool icyReader::reply(const httpRequest& request) {
    m_replyTags.clear();
    std::string value;
    int32_t interval = 0;
    if (request.getHeader("icy-metaint", value)) {
        int64_t n = 0;
        for (char c : value) {
            if (c < '0' || c > '9') break;
            n = n * 10 + (c - '0');
            if (n > 0x7FFFFFFF) {
                n = 0;  // no sane interval is this long
                break;
            }
        }
        interval = int32_t(n);
    }
    if (request.getHeader("icy-name", value) && value.find("icy-br:") == std::string::npos)
        m_replyTags["title"] = value;
    static const char* const pairs[][2] = {{"icy-genre", "genre"},
                                           {"icy-url", "url"},
                                           {"icy-br", "bitrate"},
                                           {"icy-sr", "samplerate"},
                                           {"server", "server"}};
    for (const auto& p : pairs)
        if (request.getHeader(p[0], value)) m_replyTags[p[1]] = value;
    restart(interval);
    return m_interval > 0;
}

void icyReader::restart(int32_t interval) {
    m_interval = interval;
    m_lastTitle.clear();
    m_lastUrl.clear();
    m_tags = m_replyTags;
    m_inBlock = 0;
    m_audioPosition = 0;
    m_metaPosition = 0;
    m_metaBytes.clear();
    m_metaPending = false;
}

size_t icyReader::read(streamIn& s, void* buffer, size_t length, bool some) {
    if (m_interval <= 0) {
        const size_t n = some ? s.readSome(buffer, length) : s.read(buffer, length);
        m_audioPosition += n;
        return n;
    }
    uint8_t* p = static_cast<uint8_t*>(buffer);
    size_t result = 0;
    while (length > 0) {
        checkAbort();
        const uint64_t free = uint64_t(m_interval) - m_inBlock;
        const size_t want = size_t(std::min<uint64_t>(free, length));
        if (want > 0) {
            const size_t n = some ? s.readSome(p, want) : s.read(p, want);
            m_inBlock += n;
            m_audioPosition += n;
            result += n;
            p += n;
            length -= n;
            if (n < want) break;
        }
        if (m_inBlock >= uint64_t(m_interval)) {
            m_inBlock = 0;
            uint8_t units = 0;
            if (s.read(&units, 1) < 1) break;
            if (units != 0) {
                const size_t bytes = size_t(units) * 16;
                m_metaBytes.assign(bytes + 1, 0);
                if (s.read(m_metaBytes.data(), bytes) < bytes) break;
                m_metaPending = true;
                m_metaPosition = m_audioPosition;
            }
            // A reader that takes what is there has had its bytes; the next block may be far off.
            if (some && result > 0) break;
        }
    }
    return result;
}

bool icyReader::parse() {
    if (!m_metaPending) return false;
    m_metaPending = false;
    std::string_view raw(reinterpret_cast<const char*>(m_metaBytes.data()), m_metaBytes.size());
    const size_t zero = raw.find('\0');
    if (zero != std::string_view::npos) raw = raw.substr(0, zero);
    std::string title, url;
    parseIcyBlock(icyTextToUtf8(raw), title, url);
    if (title == m_lastTitle && url == m_lastUrl) return false;
    m_tags = m_replyTags;
    m_lastTitle = title;
    m_lastUrl = url;
    if (!url.empty()) m_tags["URL"] = url;
    if (!title.empty()) {
        const size_t joint = title.find(" - ");
        if (joint == std::string::npos || joint == 0) {
            m_tags["TITLE"] = title;
        } else {
            const std::string artist = trimRight(title.substr(0, joint));
            const std::string rest = trimLeft(title.substr(joint + 3));
            if (!artist.empty()) m_tags["ARTIST"] = artist;
            if (!rest.empty()) m_tags["TITLE"] = rest;
        }
    }
    m_changePosition = m_metaPosition;
    return true;
}

}  // namespace PP
