#pragma once
// Starting a child with chosen standard handles, for the stream library's worker process.
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/platform/handle.h"
#include "foundation/platform/process.h"

// In XSpawnWithHandles: the child keeps the parent's own handle of that number.
constexpr XFileHandle XInheritStdHandle = -2;

// Starts argv[0] (searched on PATH when it has no '/') with argv, in `directory` unless it is
// null or empty. stdHandles[0..2] become the child's 0, 1 and 2: XInvalidHandle leaves that
// number closed in the child, XInheritStdHandle keeps the parent's. No other descriptor of
// the parent reaches the child unless it was made inheritable. False with the last error
// (2, file not found, for a program that is not there).
bool XSpawnWithHandles(const char* const* argv, const char* directory, const XFileHandle stdHandles[3],
                       XProcessId* pid);

// The words that run one command line through the system's shell: /bin/sh -c LINE on POSIX,
// cmd.exe /s /c LINE on Windows (where the line is passed on as it stands, quotes included).
std::vector<std::string> XShellCommandWords(const std::string& line);

// Writing to a pipe whose reader is gone fails with broken pipe instead of ending the process.
void XIgnoreBrokenPipeSignal();
