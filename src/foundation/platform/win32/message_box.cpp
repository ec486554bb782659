#include "foundation/platform/message_box.h"

#include <windows.h>

#include "foundation/platform/win32/win32_util.h"

int XMessageBox(const XString& text, const XString& caption, unsigned style) {
    const int answer = MessageBoxW(nullptr, XWide(text), XWide(caption), style | MB_SETFOREGROUND);
    // No desktop to show it on (a service, a headless session): nobody said Retry.
    if (answer == 0) return (style & 0xF) == XBox::RetryCancel ? XBox::IdCancel : XBox::IdOk;
    return answer;
}
