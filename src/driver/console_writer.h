#pragma once
// TvConsoleWriter: where the driver's text leaves the process. Standard output gets the
// banner, summary and controller lines; the error stream gets error lines. A redirected
// stream carries UTF-16LE without a byte-order mark and with CR LF line ends, the form front
// ends parse; a terminal gets UTF-8.
//
// Every error line passes through WriteErrorText, the one place that marks the run failed, so
// that the internal error pipe and its pump can take its place without touching callers.
#include <cstdint>

#include "foundation/platform/handle.h"
#include "foundation/text/xstring.h"

class TvConsoleWriter {
public:
    TvConsoleWriter() = default;
    ~TvConsoleWriter();
    TvConsoleWriter(const TvConsoleWriter&) = delete;
    TvConsoleWriter& operator=(const TvConsoleWriter&) = delete;

    // Takes the standard handles. False when standard output is unusable.
    bool Attach();

    // Text, and CR LF when withLineEnd, to standard output.
    void PrintLine(const XString& text, bool withLineEnd);

    // "message  [function]" and a line end to the error stream; marks the run failed.
    void ReportError(const XString& message, const char16_t* function = nullptr);
    // Error text with its line ends as it would come off the error pipe. In raw mode (command
    // files) and on a redirected stream the UTF-16LE bytes go out unchanged; a terminal gets
    // UTF-8 with plain line feeds. Marks the run failed.
    void WriteErrorText(const XString& text);

    // A message box: there is no desktop, so caption and text go to the error stream.
    void MessageBox(const XString& text, const XString& caption);

    // Debug log lines. The log is off until the debug file exists; this is the one function
    // that will hand them to it.
    void Debug(const XString& text);

    // Errors go to this file from now on (the errorfile option), created or truncated. When
    // it can't be opened errors are lost, and the run still fails by them. Standard error
    // itself stays open so that its descriptor number is never reused.
    bool OpenErrorFile(const XString& path);

    // Command-file mode: error text leaves as raw UTF-16LE bytes even on a terminal.
    void SetRawErrors(bool raw) { rawErrors = raw; }
    bool Failed() const { return failed != 0; }

private:
    void WriteText(XFileHandle handle, const XString& text, bool raw);

    XFileHandle outHandle = XInvalidHandle;
    XFileHandle errHandle = XInvalidHandle;
    bool ownsErrHandle = false;
    bool rawErrors = false;
    // Written only from 0 to 1; a plain store, like the run's failure flag it feeds.
    int32_t failed = 0;
};
