#include "driver/console_writer.h"

#include <bit>

#include "foundation/platform/console.h"
#include "foundation/platform/file_io.h"
#include "foundation/platform/message_box.h"

static_assert(std::endian::native == std::endian::little,
              "console text is written as the UTF-16LE bytes of XString");

namespace {
constexpr const char16_t* LineEnd = u"\r\n";
}

bool TvConsoleWriter::Attach() {
    if (!XIsHandleOpen(XStdOutputHandle)) return false;
    outHandle = XStdOutputHandle;
    errHandle = XStdErrorHandle;
    return true;
}

// A write that fails is ignored: there is nowhere left to report it.
void TvConsoleWriter::WriteText(XFileHandle handle, const XString& text, bool raw) {
    if (handle == XInvalidHandle || text.IsEmpty()) return;
    if (!raw && XIsConsoleHandle(handle)) {
        XString plain = text;
        plain.Replace(LineEnd, u"\n");
        XWriteConsole(handle, plain);
        return;
    }
    XWriteHandle(handle, text.Text(), static_cast<size_t>(text.Length()) * sizeof(char16_t));
}

void TvConsoleWriter::PrintLine(const XString& text, bool withLineEnd) {
    WriteText(outHandle, text, false);
    if (withLineEnd) WriteText(outHandle, LineEnd, false);
}

void TvConsoleWriter::ReportError(const XString& message, const char16_t* function) {
    XString line = message;
    if (function != nullptr && function[0] != 0) {
        line.AppendFast(u"  [");
        line.AppendFast(function);
        line.AppendChar(u']');
    }
    line.AppendFast(LineEnd);
    Debug(XString(u"*** Error: ") + line);
    WriteErrorText(line);
}

void TvConsoleWriter::WriteErrorText(const XString& text) {
    if (text.IsEmpty()) return;
    failed = 1;
    WriteText(errHandle, text, rawErrors);
}

void TvConsoleWriter::MessageBox(const XString& text, const XString& caption) {
    XMessageBox(text, caption, 0);
}

void TvConsoleWriter::Debug(const XString& text) {
    // The debug log is off until the log's file is set up; then this forwards to it.
    (void)text;
}

TvConsoleWriter::~TvConsoleWriter() {
    if (ownsErrHandle) XSysCloseHandle(errHandle);
}

bool TvConsoleWriter::OpenErrorFile(const XString& path) {
    if (ownsErrHandle) XSysCloseHandle(errHandle);
    ownsErrHandle = false;
    errHandle = XSysOpenFile(path, XAccess::Write, XShare::Read, XDisposition::CreateAlways,
                             XAttributeNormal);
    if (errHandle == XInvalidHandle) return false;
    ownsErrHandle = true;
    return true;
}
