#pragma once
// How far the run is, told three ways: stars under the console's ruler, "PCDone" and action
// lines for a front end in command-file mode, and the byte counter a controller reads from
// shared memory.
#include <cstdint>

#include "driver/console_writer.h"
#include "foundation/sync/xshared_memory.h"
#include "foundation/text/xstring.h"
#include "tonvale/plugin.h"

class TvProgress {
public:
    explicit TvProgress(TvConsoleWriter& console) : console(console) {}

    // Command-file mode speaks to the front end only; silent prints no stars.
    void SetMode(bool commandFile, bool quiet) {
        commandFileMode = commandFile;
        silent = quiet;
    }
    // The controller's 8-byte counter, by name.
    bool OpenCounter(const XString& name) { return counter.Open(name.Text(), sizeof(uint64_t)); }

    // The source's position against its whole length (0 counts as 1).
    void Position(int64_t positionMs, int64_t lengthMs);
    // A plug-in's action text, told when it changes.
    void InputAction(const TvChar16* text) { TellAction(text, lastInput, u"MSGTO: vMX: ActionInput: "); }
    void OutputAction(const TvChar16* text) { TellAction(text, lastOutput, u"MSGTO: vMX: ActionOutput: "); }
    // Bytes through so far, for the controller.
    void Count(uint64_t bytes);

private:
    void TellAction(const TvChar16* text, XString& last, const char16_t* prefix);

    TvConsoleWriter& console;
    bool commandFileMode = false;
    bool silent = false;
    XSharedMemory counter;
    int stars = 0;
    int64_t lastPercent = 0;
    XString lastInput;
    XString lastOutput;
};
