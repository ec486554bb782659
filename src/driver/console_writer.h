#pragma once
// TvConsoleWriter: where the driver's text leaves the process. Standard output gets the
// banner, summary and controller lines; the error stream gets error lines. A redirected
// stream carries UTF-16LE without a byte-order mark and with CR LF line ends, the form front
// ends parse; a terminal gets UTF-8.
//
// Error text reaches the error stream only through WriteErrorText, which the output thread
// calls with what came off the error pipe; that thread, not this writer, fails the run.
#include <cstdint>

#include "foundation/files/xfile.h"
#include "foundation/text/xstring.h"

class TvConsoleWriter {
public:
    // Wraps output and error, the standard handles unless a caller gives others; they are
    // never closed here. False when output is unusable.
    bool Attach(XFileHandle output, XFileHandle error);

    // Text, and CR LF when withLineEnd, to standard output.
    void PrintLine(const XString& text, bool withLineEnd);

    // Error text with its line ends, as it comes off the error pipe. In raw mode (command
    // files) and on a redirected stream the UTF-16LE bytes go out unchanged; a terminal gets
    // UTF-8 with plain line feeds.
    void WriteErrorText(const XString& text);

    // Errors go to this file from now on (the errorfile option), created or truncated. When
    // it can't be opened errors are lost, and the run still fails by them.
    bool OpenErrorFile(const XString& path);

    // Command-file mode: error text leaves as raw UTF-16LE bytes even on a terminal.
    void SetRawErrors(bool raw) { rawErrors = raw; }

    XFile stdOut;
    XFile stdErr;  // standard error, or the errorfile

private:
    static void WriteText(XFile& file, const XString& text, bool raw);

    bool rawErrors = false;
};
