#pragma once
// What tvbatch tells a person: one writer for standard output and error (UTF-8), and the
// progress of the run. On a terminal the progress is one line, redrawn; elsewhere each
// finished file gets a plain line of its own.
#include <cstdint>
#include <mutex>

#include "foundation/text/xstring.h"

class TvBatchConsole {
public:
    TvBatchConsole();
    bool Terminal() const { return terminal; }
    // A line to standard output; on a terminal the status line is redrawn below it.
    void Line(const XString& text);
    // A line to standard error, the same way.
    void Error(const XString& text);
    // The status line (terminals only): replaces the one shown.
    void Status(const XString& text);
    // Leaves the status line where it is and goes to a new line.
    void EndStatus();

private:
    void Write(int handle, const XString& text);

    std::mutex lock;
    XString status;
    bool terminal = false;
};

// "1:02:03" or "2:03".
XString TvClockText(uint64_t milliseconds);

// Counters of the run; the caller guards them.
struct TvBatchProgress {
    int total = 0;  // to convert
    int done = 0;   // converted
    int failed = 0;
    int skipped = 0;  // up to date or not decodable
    uint64_t audioDoneMs = 0;
    uint64_t bytesDone = 0;
    uint64_t totalBytes = 0;
    // Files being converted: their share so far.
    uint64_t runningAudioMs = 0;
    uint64_t runningBytes = 0;

    // "12/200 done, 1 failed, 3 skipped | 0:12:34 audio, 23.4x realtime | 0:01:23 left".
    XString StatusLine(uint64_t elapsedMs) const;
};
