#include "pp/xfile_stream.h"

#include <algorithm>
#include <cstdint>

#include "foundation/files/xfile.h"
#include "foundation/platform/last_error.h"
#include "pp/abort.h"

namespace PP {

namespace {

// XFile counts in 32 bits; one step also bounds the time between two abort tests.
constexpr uint32_t maxStep = 0x1000000;

class fileInFile : public fileIn {
public:
    fileInFile(XFile& file, std::unique_ptr<XFile> owned) : owned_(std::move(owned)), file_(file) {}

    size_t read(void* buffer, size_t length) override {
        auto* out = static_cast<uint8_t*>(buffer);
        size_t done = 0;
        while (done < length) {
            checkAbort();
            uint32_t step = static_cast<uint32_t>(std::min<size_t>(length - done, maxStep));
            bool error = false;
            XSetLastError(0);
            uint32_t got = file_.Read(out + done, step, XFile::FromCurrent, &error);
            if (error) throwLastFileError();
            if (got == 0) break;
            done += got;
        }
        return done;
    }

    uint64_t skip(uint64_t length) override {
        uint64_t here = tell();
        uint64_t total = size();
        uint64_t n = here < total ? std::min(length, total - here) : 0;
        if (n) seek(here + n);
        return n;
    }

    bool isSeekable() override { return true; }

    void seek(uint64_t position) override {
        checkAbort();
        if (position > static_cast<uint64_t>(INT64_MAX)) throwFixed<invalid_input>();
        XSetLastError(0);
        if (!file_.Seek(static_cast<int64_t>(position), XFile::FromStart)) throwLastFileError();
    }

    uint64_t tell() override {
        checkAbort();
        XSetLastError(0);
        int64_t p = file_.Tell();
        if (p < 0) throwLastFileError();
        return static_cast<uint64_t>(p);
    }

    uint64_t size() override {
        checkAbort();
        bool error = false;
        XSetLastError(0);
        uint64_t s = file_.Size(&error);
        if (error) throwLastFileError();
        return s;
    }

private:
    std::unique_ptr<XFile> owned_;
    XFile& file_;
};

}  // namespace

fileInPtr wrapXFile(XFile& file) { return std::make_shared<fileInFile>(file, nullptr); }

fileInPtr wrapXFile(std::unique_ptr<XFile> file) {
    if (!file) throwFixed<bug_check>();
    XFile& ref = *file;
    return std::make_shared<fileInFile>(ref, std::move(file));
}

}  // namespace PP
