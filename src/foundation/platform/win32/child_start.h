#pragma once
// What the three ways of starting a child on Windows share: the command line the C run-time
// splits back into argv, the program found as CreateProcessW wants it, and the table of
// children whose handles keep their exit codes until somebody asks.
#include <windows.h>

#include <string>

#include "foundation/platform/process.h"
#include "foundation/platform/win32/child_table.h"

// argument added to line, after a space unless line is empty, quoted the way the C run-time
// splits it back.
void XAppendArgument(std::wstring& line, const std::wstring& argument);

// argv joined into one command line, each argument quoted where the run-time needs it.
std::wstring XCommandLineOf(const char* const* argv);

// The file a program name runs: a name with a separator as it stands, otherwise searched on
// PATH; ".exe" is added where the name has no extension. Empty, with the last error 2, when
// nothing is there.
std::wstring XFindProgram(const char* name);

// Starts the program with exactly the three standard handles inherited (no other handle of
// this process reaches the child), suspended when flags ask for it. The child is remembered
// for XWaitProcess, XKillProcess and XChildEnded. False with the last error.
bool XCreateChild(const std::wstring& program, const char* const* argv, const wchar_t* directory,
                  const HANDLE standard[3], DWORD flags, PROCESS_INFORMATION& info);

// The remembered handle of pid, or null; taken out of the table when remove is set.
HANDLE XChildHandle(XProcessId pid, bool remove);
