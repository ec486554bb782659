// The crash report's window on plain Xlib: white, four rows of text, two of them with a link
// below, and an "Exit" button. Built as a module of its own that only the successor of a
// crash loads.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include <cstring>
#include <string>

#include "crash/crash_window.h"

namespace {

// The layout, in pixels: the window is 490 by 240, the rows start 16 from the top.
constexpr int Width = 490;
constexpr int Height = 240;
constexpr int Left = 10;
constexpr int LinkIndent = 30;
constexpr int RowBaselines[4] = {34, 64, 94, 140};  // the heading stands 8 and 20 apart from the rest
constexpr int LinkGap = 20;                         // from a row's baseline to its link's
constexpr int ButtonWidth = 120;
constexpr int ButtonHeight = 24;
constexpr int ButtonTop = 198;

struct Colours {
    unsigned long white, black, link, face, edge;
};

unsigned long Colour(Display* display, const char* name, unsigned long fallback) {
    XColor exact, screen;
    const Colormap map = DefaultColormap(display, DefaultScreen(display));
    return XAllocNamedColor(display, map, name, &screen, &exact) ? screen.pixel : fallback;
}

// Core fonts hold Latin-1: the few other characters of a report show as '?'.
std::string Latin1(const char* utf8) {
    std::string out;
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(utf8 ? utf8 : ""); *p;) {
        unsigned c = *p++;
        int more = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
        c &= more == 3 ? 0x07 : more == 2 ? 0x0F : more == 1 ? 0x1F : 0x7F;
        for (; more > 0 && (*p & 0xC0) == 0x80; --more) c = (c << 6) | (*p++ & 0x3F);
        out += static_cast<char>(c < 0x100 ? c : '?');
    }
    return out;
}

struct Link {
    int x, y, width, height;
};

class ReportWindow {
public:
    ReportWindow(Display* display, const TvCrashWindowText& text) : display(display), text(text) {}

    bool Open() {
        const int screen = DefaultScreen(display);
        colours = {WhitePixel(display, screen), BlackPixel(display, screen), Colour(display, "#0645ad", 0),
                   Colour(display, "#e1e1e1", WhitePixel(display, screen)), Colour(display, "#adadad", 0)};
        font = XLoadQueryFont(display, "-misc-fixed-medium-r-normal--13-*-*-*-*-*-iso8859-1");
        if (!font) font = XLoadQueryFont(display, "fixed");
        bold = XLoadQueryFont(display, "-misc-fixed-bold-r-normal--13-*-*-*-*-*-iso8859-1");
        if (!font) return false;
        if (!bold) bold = font;
        const int x = (DisplayWidth(display, screen) - Width) / 2;
        const int y = (DisplayHeight(display, screen) - Height) / 2;
        window = XCreateSimpleWindow(display, RootWindow(display, screen), x, y, Width, Height, 0, colours.black,
                                     colours.white);
        XSizeHints hints{};
        hints.flags = PMinSize | PMaxSize;
        hints.min_width = hints.max_width = Width;
        hints.min_height = hints.max_height = Height;
        XSetWMNormalHints(display, window, &hints);
        XStoreName(display, window, Latin1(text.title).c_str());
        const Atom utf8 = XInternAtom(display, "UTF8_STRING", False);
        const Atom netName = XInternAtom(display, "_NET_WM_NAME", False);
        XChangeProperty(display, window, netName, utf8, 8, PropModeReplace,
                        reinterpret_cast<const unsigned char*>(text.title), static_cast<int>(std::strlen(text.title)));
        closeAtom = XInternAtom(display, "WM_DELETE_WINDOW", False);
        XSetWMProtocols(display, window, &closeAtom, 1);
        XSelectInput(display, window, ExposureMask | ButtonPressMask | KeyPressMask | StructureNotifyMask);
        gc = XCreateGC(display, window, 0, nullptr);
        XMapRaised(display, window);
        return true;
    }

    // Until the closed flag is set: by the button, the window manager or a key.
    void Loop() {
        while (!closed) {
            XEvent event;
            XNextEvent(display, &event);
            switch (event.type) {
                case Expose:
                    if (event.xexpose.count == 0) Draw();
                    break;
                case ButtonPress:
                    Click(event.xbutton.x, event.xbutton.y);
                    break;
                case KeyPress: {
                    const KeySym key = XLookupKeysym(&event.xkey, 0);
                    closed = key == XK_Escape || key == XK_Return || key == XK_KP_Enter;
                    break;
                }
                case ClientMessage:
                    closed = static_cast<Atom>(event.xclient.data.l[0]) == closeAtom;
                    break;
                default:
                    break;
            }
        }
    }

    void Close() {
        if (gc) XFreeGC(display, gc);
        if (window) XDestroyWindow(display, window);
        if (bold && bold != font) XFreeFont(display, bold);
        if (font) XFreeFont(display, font);
    }

private:
    void Text(XFontStruct* f, unsigned long colour, int x, int y, const std::string& s) {
        XSetFont(display, gc, f->fid);
        XSetForeground(display, gc, colour);
        XDrawString(display, window, gc, x, y, s.c_str(), static_cast<int>(s.size()));
    }

    void Draw() {
        XClearWindow(display, window);
        for (int row = 0; row < 4; ++row) {
            Text(row == 0 ? bold : font, colours.black, Left, RowBaselines[row], Latin1(text.rows[row]));
        }
        for (int i = 0; i < 2; ++i) {
            const std::string label = Latin1(text.links[i]);
            const int y = RowBaselines[2 + i] + LinkGap;
            Text(font, colours.link, LinkIndent, y, label);
            const int width = XTextWidth(font, label.c_str(), static_cast<int>(label.size()));
            XDrawLine(display, window, gc, LinkIndent, y + 2, LinkIndent + width, y + 2);
            links[i] = {LinkIndent, y - font->ascent, width, font->ascent + font->descent + 2};
        }
        const int bx = (Width - ButtonWidth) / 2;
        XSetForeground(display, gc, colours.face);
        XFillRectangle(display, window, gc, bx, ButtonTop, ButtonWidth, ButtonHeight);
        XSetForeground(display, gc, colours.edge);
        XDrawRectangle(display, window, gc, bx, ButtonTop, ButtonWidth - 1, ButtonHeight - 1);
        const std::string label = Latin1(text.button);
        const int width = XTextWidth(font, label.c_str(), static_cast<int>(label.size()));
        Text(font, colours.black, bx + (ButtonWidth - width) / 2,
             ButtonTop + (ButtonHeight + font->ascent - font->descent) / 2, label);
        XFlush(display);
    }

    void Click(int x, int y) {
        const int bx = (Width - ButtonWidth) / 2;
        if (x >= bx && x < bx + ButtonWidth && y >= ButtonTop && y < ButtonTop + ButtonHeight) {
            closed = true;
            return;
        }
        for (int i = 0; i < 2; ++i) {
            const Link& l = links[i];
            if (x >= l.x && x < l.x + l.width && y >= l.y && y < l.y + l.height && text.openLink) {
                text.openLink(i, text.context);
            }
        }
    }

    Display* display;
    const TvCrashWindowText& text;
    ::Window window = 0;
    GC gc = nullptr;
    XFontStruct* font = nullptr;
    XFontStruct* bold = nullptr;
    Colours colours{};
    Atom closeAtom = 0;
    Link links[2] = {};
    bool closed = false;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int32_t TvShowCrashWindow(const TvCrashWindowText* text) {
    if (!text || !text->title) return 0;
    Display* display = XOpenDisplay(nullptr);
    if (!display) return 0;
    ReportWindow window(display, *text);
    const bool shown = window.Open();
    if (shown) window.Loop();
    window.Close();
    XCloseDisplay(display);
    return shown ? 1 : 0;
}
