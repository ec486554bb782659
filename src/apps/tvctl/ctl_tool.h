#pragma once
// The logic of tvctl, the controller tool for front ends and scripts:
//   event set|reset|test NAME     test exits 0 when signalled, 1 when not
//   event wait NAME MS            0 when signalled within MS, 1 otherwise
//   shm read NAME                 prints the 8-byte little-endian counter NAME
//   hold NAME... [-- COMMAND ARG...]
//                                 holds the events (and with shm:NAME the 8-byte blocks)
//                                 while COMMAND runs, or until asked to end; COMMAND's status
// Usage errors exit with 2.
#include "foundation/text/xstring.h"

// argv without the program's name, UTF-8.
int XCtlTool(int argc, const char* const* argv, XString& out, XString& err);
