// The crash report's window on Windows: plain user32 controls, the four rows, the two links
// drawn as links (blue, underlined, a hand over them) and the Exit button. Loaded only by the
// successor of a crash, like its X11 counterpart.
#include <windows.h>

#include <string>

#include "crash/crash_window.h"

namespace {

constexpr int Width = 520, Height = 240, Left = 16, LinkIndent = 40;
constexpr int RowTops[4] = {14, 44, 80, 136};
constexpr int LinkTops[2] = {102, 158};
constexpr int ButtonWidth = 88, ButtonHeight = 26;
constexpr int LinkId = 100, ExitId = 200;

std::wstring Wide(const char* utf8) {
    if (!utf8) return std::wstring();
    const int units = MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0);
    if (units <= 1) return std::wstring();
    std::wstring out(static_cast<size_t>(units), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8, -1, out.data(), units);
    out.resize(static_cast<size_t>(units - 1));
    return out;
}

struct Report {
    const TvCrashWindowText* text;
    HFONT font, bold, link;
};

HFONT MakeFont(int weight, bool underline) {
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof metrics;
    SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
    LOGFONTW face = metrics.lfMessageFont;
    face.lfWeight = weight;
    face.lfUnderline = underline ? TRUE : FALSE;
    return CreateFontIndirectW(&face);
}

void AddControl(HWND parent, const wchar_t* kind, const std::wstring& label, DWORD style, int x, int y, int w, int h,
                int id, HFONT font) {
    HWND control =
        CreateWindowExW(0, kind, label.c_str(), WS_CHILD | WS_VISIBLE | style, x, y, w, h, parent,
                        reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), GetModuleHandleW(nullptr), nullptr);
    if (control) SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
}

LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* report = reinterpret_cast<Report*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    switch (message) {
        case WM_CREATE: {
            report = static_cast<Report*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
            SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(report));
            const TvCrashWindowText& text = *report->text;
            for (int row = 0; row < 4; ++row)
                AddControl(window, L"STATIC", Wide(text.rows[row]), SS_LEFT | SS_NOPREFIX, Left, RowTops[row],
                           Width - 2 * Left, 20, 0, row == 0 ? report->bold : report->font);
            for (int i = 0; i < 2; ++i)
                AddControl(window, L"STATIC", Wide(text.links[i]), SS_LEFT | SS_NOPREFIX | SS_NOTIFY, LinkIndent,
                           LinkTops[i], Width - LinkIndent - Left, 20, LinkId + i, report->link);
            AddControl(window, L"BUTTON", Wide(text.button), BS_DEFPUSHBUTTON | WS_TABSTOP,
                       Width - Left - ButtonWidth - 16, Height - ButtonHeight - 14, ButtonWidth, ButtonHeight, ExitId,
                       report->font);
            return 0;
        }
        case WM_CTLCOLORSTATIC: {
            const int id = GetDlgCtrlID(reinterpret_cast<HWND>(lParam));
            auto dc = reinterpret_cast<HDC>(wParam);
            SetBkMode(dc, TRANSPARENT);
            SetTextColor(dc, id == LinkId || id == LinkId + 1 ? RGB(0, 0, 204) : GetSysColor(COLOR_WINDOWTEXT));
            return reinterpret_cast<LRESULT>(GetSysColorBrush(COLOR_WINDOW));
        }
        case WM_SETCURSOR: {
            const int id = GetDlgCtrlID(reinterpret_cast<HWND>(wParam));
            if (id == LinkId || id == LinkId + 1) {
                SetCursor(LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_HAND)));
                return TRUE;
            }
            break;
        }
        case WM_COMMAND: {
            const int id = LOWORD(wParam);
            if ((id == LinkId || id == LinkId + 1) && HIWORD(wParam) == STN_CLICKED) {
                if (report->text->openLink) report->text->openLink(id - LinkId, report->text->context);
                return 0;
            }
            if (id == ExitId || id == IDCANCEL) {
                DestroyWindow(window);
                return 0;
            }
            break;
        }
        case WM_DESTROY:
            PostQuitMessage(0);
            return 0;
        default:
            break;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

}  // namespace

extern "C" __declspec(dllexport) int32_t TvShowCrashWindow(const TvCrashWindowText* text) {
    if (!text) return 0;
    HINSTANCE instance = GetModuleHandleW(nullptr);
    WNDCLASSEXW kind{};
    kind.cbSize = sizeof kind;
    kind.lpfnWndProc = WindowProc;
    kind.hInstance = instance;
    kind.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
    kind.hbrBackground = GetSysColorBrush(COLOR_WINDOW);
    kind.lpszClassName = L"TonvaleCrashReport";
    kind.hIcon = LoadIconW(nullptr, reinterpret_cast<LPCWSTR>(IDI_ERROR));
    RegisterClassExW(&kind);  // a second call finds it registered already
    Report report{text, MakeFont(FW_NORMAL, false), MakeFont(FW_BOLD, false), MakeFont(FW_NORMAL, true)};
    RECT frame{0, 0, Width, Height};
    const DWORD style = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU;
    AdjustWindowRectEx(&frame, style, FALSE, 0);
    HWND window = CreateWindowExW(WS_EX_DLGMODALFRAME | WS_EX_TOPMOST, kind.lpszClassName, Wide(text->title).c_str(),
                                  style, CW_USEDEFAULT, CW_USEDEFAULT, frame.right - frame.left,
                                  frame.bottom - frame.top, nullptr, nullptr, instance, &report);
    int32_t shown = 0;
    if (window) {
        ShowWindow(window, SW_SHOWNORMAL);
        SetForegroundWindow(window);
        MSG message;
        // Tab and Enter move between and press the controls, as in a dialog.
        while (GetMessageW(&message, nullptr, 0, 0) > 0) {
            if (IsDialogMessageW(window, &message)) continue;
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        shown = 1;
    }
    for (HFONT f : {report.font, report.bold, report.link})
        if (f) DeleteObject(f);
    return shown;
}
