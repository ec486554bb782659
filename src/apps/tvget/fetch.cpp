#include "fetch.h"

#include <memory>
#include <stdexcept>

#include "foundation/platform/console.h"
#include "foundation/platform/file_system.h"
#include "foundation/platform/handle.h"
#include "pp/exceptions.h"
#include "pp/file.h"
#include "pp/http/file_http.h"
#include "pp/http/http_request.h"

namespace tvget {

namespace {

constexpr size_t copyBlock = 65536;

class skipVerification : public PP::securePolicy {
public:
    uint32_t flagsFor(const std::string&) override { return PP::secureSkipVerify; }
};

// The body goes to standard output, or to a side file that replaces FILE only when complete.
class bodySink {
public:
    explicit bodySink(const std::string& path) : m_path(path) {
        if (m_path.empty()) return;
        m_partPath = m_path + ".part";
        m_file.createOrTruncate(m_partPath);
    }
    ~bodySink() {
        if (m_path.empty() || m_done) return;
        m_file.close();
        // A failed fetch leaves no partial file behind; nothing more can be done if this fails.
        XSysDeleteFile(XString(m_partPath.c_str(), true));
    }
    void write(const void* data, size_t length) {
        if (length == 0) return;
        if (m_path.empty()) {
            if (!XWriteHandle(XStdOutputHandle, data, length)) PP::throwFixed<PP::file_access_error>();
        } else {
            m_file.write(data, length);
        }
    }
    void finish() {
        if (m_path.empty()) return;
        m_file.close();
        if (!XSysMoveFile(XString(m_partPath.c_str(), true), XString(m_path.c_str(), true),
                          XMoveFlags::ReplaceExisting))
            PP::throwLastFileError();
        m_done = true;
    }

private:
    std::string m_path, m_partPath;
    PP::fileInOutImpl m_file;
    bool m_done = false;
};

void configure(PP::httpRequest& r, const options& o) {
    for (const auto& h : o.headers) r.addHeader(h);
    if (o.maxRedirectsSet) r.maxRedirects = o.maxRedirects;
    r.ignoreStatus = o.ignoreStatus;
    if (!o.proxy.empty()) {
        PP::checkHeaderText(o.proxy);
        r.proxyUrl = o.proxy;
    }
    if (o.insecure) r.connection.setPolicy(std::make_shared<skipVerification>());
}

void printLine(XFileHandle handle, const std::string& text) {
    const std::string line = text + "\n";
    XWriteHandle(handle, line.data(), line.size());
}

void printHead(const PP::httpRequest& r) {
    std::string out = r.statusLine() + "\n";
    const std::string& h = r.replyHeaders();
    size_t start = 0;
    while (start < h.size()) {
        size_t end = h.find("\r\n", start);
        if (end == std::string::npos) end = h.size();
        out += h.substr(start, end - start) + "\n";
        start = end + 2;
    }
    XWriteHandle(XStdOutputHandle, out.data(), out.size());
}

void copyBody(PP::streamIn& in, bodySink& sink, const options& o, PP::icyReader* icy) {
    std::unique_ptr<uint8_t[]> buffer(new uint8_t[copyBlock]);
    uint64_t left = o.limitBytes ? o.bytes : PP::unknownLength;
    while (left > 0) {
        const size_t want = size_t(std::min<uint64_t>(left, copyBlock));
        // readSome keeps a radio stream's titles timely; files fill the block anyway.
        const size_t n = icy ? in.readSome(buffer.get(), want) : in.read(buffer.get(), want);
        if (icy && icy->pending() && icy->parse()) {
            const auto& tags = icy->tags();
            auto tag = [&](const char* name) {
                auto it = tags.find(name);
                return it == tags.end() ? std::string() : it->second;
            };
            printLine(XStdErrorHandle, "icy\t" + tag("ARTIST") + "\t" + tag("TITLE") + "\t" + tag("URL"));
        }
        if (n == 0) break;
        sink.write(buffer.get(), n);
        if (left != PP::unknownLength) left -= n;
    }
}

}  // namespace

void fetch(const options& o) {
    PP::checkHeaderText(o.url);
    for (const auto& h : o.headers) PP::checkHeaderText(h);
    PP::installHttpFileOpener();

    if (o.head || !o.formFields.empty()) {
        if (!PP::isHttpUrl(o.url)) throw PP::httpRequest::bad_url(PP::httpRequest::bad_url::fixedText());
        PP::httpRequest r;
        configure(r, o);
        PP::httpRequestInfo info;
        if (o.head) {
            info.method = "HEAD";
            r.send(o.url, info);
            printHead(r);
            return;
        }
        for (const auto& [name, value] : o.formFields) {
            PP::httpFormField f;
            f.name = name;
            f.data.assign(value.begin(), value.end());
            r.formFields.push_back(std::move(f));
        }
        info.method = "POST";
        bodySink sink(o.outputFile);
        r.send(o.url, info);
        copyBody(r, sink, o, nullptr);
        sink.finish();
        return;
    }

    PP::setHttpFileSetup([&o](PP::fileHttp& f) {
        configure(f.request, o);
        if (o.icy) f.enableIcy();
    });
    PP::fileInPtr file = PP::openFileOrUrl(o.url);
    bodySink sink(o.outputFile);
    if (o.seek) file->seek(o.seekPosition);
    auto* http = dynamic_cast<PP::fileHttp*>(file.get());
    copyBody(*file, sink, o, http && http->icyActive() ? http->icy() : nullptr);
    sink.finish();
}

}  // namespace tvget
