#include "foundation/platform/message_box.h"

#include <windows.h>

#include <string>

#include "foundation/platform/win32/win32_util.h"

namespace {

// The caption and the text where nobody can be asked, as a console program says them.
void WriteToStandardError(const XString& line) {
    HANDLE error = GetStdHandle(STD_ERROR_HANDLE);
    if (!XUsableHandle(error)) return;
    DWORD mode = 0, written = 0;
    if (GetConsoleMode(error, &mode)) {
        const XString text = line + u"\n";
        WriteConsoleW(error, XWide(text), static_cast<DWORD>(text.Length()), &written, nullptr);
        return;
    }
    const XString text = line + u"\r\n";
    // Nothing more can be done about a standard error that refuses the text.
    WriteFile(error, text.Text(), static_cast<DWORD>(text.Length() * 2), &written, nullptr);
}

}  // namespace

int XMessageBox(const XString& text, const XString& caption, unsigned style) {
    const int answer = MessageBoxW(nullptr, XWide(text), XWide(caption), style | MB_SETFOREGROUND);
    if (answer > 0) return answer;
    // No desktop to show it on (a service, a headless session): nobody said Retry.
    WriteToStandardError(caption + u": " + text);
    return (style & 0xF) == XBox::RetryCancel ? XBox::IdCancel : XBox::IdOk;
}
