#pragma once
// Internet radio metadata: blocks of "key='value';" text that the server puts between every
// `interval` audio bytes when asked by "Icy-MetaData: 1".
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "pp/http/cookie_store.h"
#include "pp/stream.h"

namespace PP {

class httpRequest;

// The stream title and URL of a block's text (up to its first zero byte). Keys compare without
// regard to case; a value with no closing "';" runs to the end of the text.
void parseIcyBlock(std::string_view text, std::string& title, std::string& url);
// UTF-8 as it is; anything else is read as Latin-1.
std::string icyTextToUtf8(std::string_view bytes);

class icyReader {
public:
    using tagMap = std::map<std::string, std::string, noCaseLess>;

    // Send the request header only on direct connections.
    bool headerDirectOnly = false;

    // Resets from a reply head: the interval and the station's tags. True when metadata comes.
    bool reply(const httpRequest& request);
    // Starts over with an interval and no station tags, as reply does.
    void restart(int32_t interval);
    // Reads audio from `s`, taking out the metadata blocks; `some` reads by readSome (stopping
    // at the first pause) rather than read.
    size_t read(streamIn& s, void* buffer, size_t length, bool some);
    // Parses a block that has arrived: true when the title or URL changed.
    bool parse();
    bool pending() const { return m_metaPending; }

    const tagMap& tags() const { return m_tags; }
    int32_t interval() const { return m_interval; }
    uint64_t changePosition() const { return m_changePosition; }
    uint64_t audioPosition() const { return m_audioPosition; }

private:
    int32_t m_interval = 0;
    uint64_t m_inBlock = 0;
    std::vector<uint8_t> m_metaBytes;
    bool m_metaPending = false;
    uint64_t m_metaPosition = 0;
    uint64_t m_audioPosition = 0;
    uint64_t m_changePosition = 0;
    tagMap m_replyTags;
    tagMap m_tags;
    std::string m_lastTitle;
    std::string m_lastUrl;
};

}  // namespace PP
