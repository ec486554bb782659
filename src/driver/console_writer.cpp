#include "driver/console_writer.h"

#include <bit>

#include "foundation/platform/console.h"

static_assert(std::endian::native == std::endian::little, "console text is written as the UTF-16LE bytes of XString");

namespace {
constexpr const char16_t* LineEnd = u"\r\n";
}

bool TvConsoleWriter::Attach(XFileHandle output, XFileHandle error) {
    if (!XIsHandleOpen(output)) return false;
    stdOut.Attach(output);
    stdErr.Attach(error);
    return true;
}

// A write that fails is ignored: there is nowhere left to report it.
void TvConsoleWriter::WriteText(XFile& file, const XString& text, bool raw) {
    if (!file.IsOpen() || text.IsEmpty()) return;
    if (!raw && XIsConsoleHandle(file.Handle())) {
        XString plain = text;
        plain.Replace(LineEnd, u"\n");
        XWriteConsole(file.Handle(), plain);
        return;
    }
    file.Write(text.Text(), static_cast<uint32_t>(text.Length()) * sizeof(char16_t));
}

void TvConsoleWriter::PrintLine(const XString& text, bool withLineEnd) {
    WriteText(stdOut, text, false);
    if (withLineEnd) WriteText(stdOut, LineEnd, false);
}

void TvConsoleWriter::WriteErrorText(const XString& text) {
    if (text.IsEmpty()) return;
    WriteText(stdErr, text, rawErrors);
}

bool TvConsoleWriter::OpenErrorFile(const XString& path) {
    // Open first closes what stdErr held; standard error itself is only attached, never owned,
    // so its descriptor stays and no later file takes number 2.
    return stdErr.Open(path, XAccess::Write, XDisposition::CreateAlways);
}
