#pragma once
// A URL as a file: a position, a size when the server gives one, seeks by range requests or
// by skipping on the open connection, and resumption after a dropped connection.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "pp/http/http_request.h"
#include "pp/http/icy_reader.h"
#include "pp/stream.h"

namespace PP {

// A seek at most this far ahead reads through on the open connection.
constexpr uint64_t httpSkipWindow = 16384;
// Most bytes one read step asks of the connection.
constexpr size_t httpReadStep = 4096;

class fileHttp : public fileIn {
public:
    fileHttp();
    fileHttp(const fileHttp&) = delete;
    fileHttp& operator=(const fileHttp&) = delete;

    // The exchange; set its options before open.
    httpRequest request;
    // How long an open or a seek keeps retrying after network failures.
    double retrySeconds = 10.0;

    void open(const std::string& url, const std::string& method = "GET");
    // Asks for metadata; before open.
    void enableIcy();
    icyReader* icy() { return m_icy.get(); }
    bool icyActive() const { return m_icyActive; }

    size_t read(void* buffer, size_t length) override;
    size_t readSome(void* buffer, size_t length) override;
    bool isSeekable() override { return m_seekable; }
    void seek(uint64_t position) override;
    uint64_t tell() override { return m_position; }
    uint64_t size() override { return m_length; }
    bool getInfo(const std::string& name, std::string& value) override;
    // "last-modified" as a file time (100 ns since 1601), 0 when unknown.
    uint64_t lastModified() const { return m_lastModified; }

private:
    void retryLoop(const std::function<void()>& action);
    void reopen(uint64_t position);
    void seekOnce(uint64_t target);
    void afterReply();
    void dropConnection();

    uint64_t m_position = 0;
    uint64_t m_length = unknownLength;
    std::string m_url;
    std::string m_method = "GET";
    std::unique_ptr<icyReader> m_icy;
    bool m_icyActive = false;
    bool m_seekable = false;
    uint64_t m_lastModified = 0;
    bool m_firstReplySeen = false;
};

// Settings applied to every HTTP file that openFileOrUrl makes, before it opens.
using httpFileSetup = std::function<void(fileHttp&)>;
void setHttpFileSetup(httpFileSetup setup);
// Makes openFileOrUrl open http and https URLs as fileHttp.
void installHttpFileOpener();

}  // namespace PP
