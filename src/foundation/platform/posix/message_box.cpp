#include "foundation/platform/message_box.h"

#include <unistd.h>

#include <cerrno>
#include <string>

namespace {

void WriteAll(const char* data, size_t size) {
    while (size > 0) {
        ssize_t n = write(2, data, size);
        if (n < 0 && errno == EINTR) continue;
        // Nothing more can be done about a standard error that refuses text.
        if (n <= 0) return;
        data += n;
        size -= static_cast<size_t>(n);
    }
}

// Standard error that is not a terminal carries UTF-16LE with CR LF for the front ends.
void WriteLineToStdErr(const XString& line) {
    if (isatty(2)) {
        std::string text = line.ToStdUtf8();
        text += '\n';
        WriteAll(text.data(), text.size());
        return;
    }
    std::string bytes;
    bytes.reserve(static_cast<size_t>(line.Length() + 2) * 2);
    auto put = [&bytes](char16_t c) {
        bytes += static_cast<char>(c & 0xFF);
        bytes += static_cast<char>(c >> 8);
    };
    for (int i = 0; i < line.Length(); ++i) put(line.Text()[i]);
    put(u'\r');
    put(u'\n');
    WriteAll(bytes.data(), bytes.size());
}

}  // namespace

int XMessageBox(const XString& text, const XString& caption, unsigned style) {
    WriteLineToStdErr(caption + u": " + text);
    return (style & 0xF) == XBox::RetryCancel ? XBox::IdCancel : XBox::IdOk;
}
