#pragma once
// The process's console side: its command line as one text, the standard handles, and text
// to a terminal. POSIX has no unsplit command line, so the argument vector is joined into a
// text that the option grammar splits into the same options as XOptionList::FromArgv gives.
#include <cstddef>

#include "foundation/platform/handle.h"
#include "foundation/text/xstring.h"

// Opens /dev/null on any of the descriptors 0, 1 and 2 that is closed, so that no file or
// pipe the process opens later takes one of their numbers. Call first thing in main.
void XEnsureStandardHandles();
// Lets go of standard input, so that its writer learns that no more is read; the handle then
// reads as an empty file, so that no later open takes its number.
void XCloseStdInput();

// Keeps the argument vector for XGetCommandLine. Without it, /proc/self/cmdline is read.
void XSetProcessArguments(int argc, const char* const* argv);

// The command line as one text: the program's name in double quotes, then one option per
// item of the argument vector, a value in double quotes wherever the grammar would lose it
// unquoted (empty behind '=', starting with '-', '"' or '=', or holding a blank). The grammar
// has no escape for a quote inside quotes, so such a value loses its quote characters, and an
// option whose name the grammar can't hold (blank or quote in it) is left out.
XString XGetCommandLine();
XString XJoinCommandLine(int argc, const char* const* argv);

// Whether the handle is an open descriptor.
bool XIsHandleOpen(XFileHandle handle);
// Whether the handle is a terminal, the counterpart of the console.
bool XIsConsoleHandle(XFileHandle handle);
// Writes all bytes, retrying after interruptions; false (with the last error) when a write
// fails.
bool XWriteHandle(XFileHandle handle, const void* data, size_t size);
// Text to a terminal, as UTF-8.
bool XWriteConsole(XFileHandle handle, const XString& text);
