// The public entry points: throwing ones over memory, streams and names, and the catch-all
// ones that turn any failure into the blank record.
#include <memory>

#include "foundation/files/xfile.h"
#include "image/image_info.h"
#include "pp/file.h"
#include "pp/mem_stream.h"
#include "pp/stream.h"
#include "pp/stream_adapters.h"
#include "pp/xfile_stream.h"

namespace {

// A shared pointer that does not own: the caller's stream outlives the call.
PP::fileInPtr wrapBorrowed(PP::streamIn& stream) {
    return PP::wrapStreamAsFile(PP::streamInPtr(PP::streamInPtr(), &stream));
}

imageFileInfo toFileInfo(const imageHeaderInfo& header) {
    imageFileInfo info;
    info.formatName = header.formatName;
    info.mimeType = header.mimeType;
    info.format = imageFormatFromName(header.formatName);
    info.width = header.width;
    info.height = header.height;
    info.bitsPerPixel = header.bitsPerPixel;
    info.hasAlpha = header.hasAlpha;
    return info;
}

}  // namespace

imageHeaderInfo imageHeaderFromMemory(const void* data, size_t length) {
    PP::fileInMemRef file(data, length);
    return identifyImageStream(file);
}

imageHeaderInfo imageHeaderFromStream(PP::streamIn& stream) {
    const PP::fileInPtr file = wrapBorrowed(stream);
    return identifyImageStream(*file);
}

imageHeaderInfo identifyImageUrl(const std::string& pathOrUrl) {
    const PP::fileInPtr file = PP::openFileOrUrl(pathOrUrl);
    return identifyImageStream(*file);
}

std::pair<uint32_t, uint32_t> imageSizeFromUrl(const std::string& pathOrUrl) {
    const imageHeaderInfo info = identifyImageUrl(pathOrUrl);
    return {info.width, info.height};
}

std::pair<uint32_t, uint32_t> imageSizeFromStream(PP::streamIn& stream) {
    const imageHeaderInfo info = imageHeaderFromStream(stream);
    return {info.width, info.height};
}

imageFileInfo identifyImageMemory(const void* data, size_t length) {
    try {
        return toFileInfo(imageHeaderFromMemory(data, length));
    } catch (...) {
        // This entry point promises a record, never an exception: a failure is the blank record.
        return imageFileInfo{};
    }
}

imageFileInfo identifyImageFile(XFile& file) {
    try {
        if (!file.Seek(0, XFile::FromStart)) return imageFileInfo{};
        // A second, non-owning object on the same handle: the caller's file stays open, its
        // position wherever reading stopped.
        XFile shared(file.Handle());
        const PP::fileInPtr stream = PP::wrapXFile(shared);
        return toFileInfo(identifyImageStream(*stream));
    } catch (...) {
        // A record, never an exception: any failure is the blank record.
        return imageFileInfo{};
    }
}

imageFileInfo identifyImagePath(const XString& path) {
    XFile file;
    file.SetShareMode(XShare::Read | XShare::Write | XShare::Delete);
    if (!file.OpenRead(path)) return imageFileInfo{};
    return identifyImageFile(file);
}

bool isJpegMemory(const void* data, size_t length) {
    return identifyImageMemory(data, length).format == imageFormatJpeg;
}

bool isPngMemory(const void* data, size_t length) { return identifyImageMemory(data, length).format == imageFormatPng; }

XString imageExtension(const imageFileInfo& info) {
    if (info.format == imageFormatJpeg) return XString(u".jpg");
    if (info.formatName == nullptr) return XString();
    XString extension(u".");
    for (const char* p = info.formatName; *p != 0; ++p) {
        char16_t c = char16_t(static_cast<unsigned char>(*p));
        if (c >= u'A' && c <= u'Z') c = char16_t(c - u'A' + u'a');
        extension.AppendChar(c);
    }
    return extension;
}
