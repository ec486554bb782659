#pragma once
// The window of a crash report, in a module that only the successor of a crash loads, so that
// no tool links a window library. Plain C types cross the module's edge.
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct TvCrashWindowText {
    const char* title;     // UTF-8, as all texts here
    const char* rows[4];   // the report's rows
    const char* links[2];  // the link texts of rows 3 and 4
    const char* button;
    // Called with 0 or 1 when a link is clicked.
    void (*openLink)(int link, void* context);
    void* context;
};

// Shows the window until it is closed: 1, or 0 when no window could be made.
typedef int32_t (*TvShowCrashWindowFn)(const struct TvCrashWindowText* text);
#define TV_CRASH_WINDOW_EXPORT "TvShowCrashWindow"
#ifdef _WIN32
#define TV_CRASH_WINDOW_MODULE u"tvcrashwindow.dll"
#else
#define TV_CRASH_WINDOW_MODULE u"tvcrashwindow.so"
#endif

#ifdef __cplusplus
}
#endif
