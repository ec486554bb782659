#pragma once
// The logic of tvreg, the settings tool for people and scripts, in the style of the Windows
// reg tool: "query KEY [/v NAME | /ve] [/s]", "add KEY [/v NAME | /ve] [/t TYPE] [/s SEP]
// [/d DATA] [/f]", "delete KEY [/v NAME | /ve | /va] [/f]". KEY starts with HKCU\, HKLM\ or
// HKCR\ (or the long root names).
#include <functional>

#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"

struct XRegToolIo {
    XString out;  // lines end in '\n'
    XString err;
    // Asked before overwriting or deleting without /f; no answer means no.
    std::function<bool(const XString& question)> confirm;
};

// Runs one command (the arguments without the program's name); the exit status, 0 or 1.
int XRegTool(const XStringList& args, XRegToolIo& io);
