#pragma once
// The user's desktop, for the crash report's window and its links.
#include "foundation/text/xstring.h"

// Whether a window can be shown at all: a display on POSIX. Windows always has a desktop; a
// window that can't be made there just fails.
bool XHasDesktop();
// Opens a web address in the user's browser; false when nothing could be started.
bool XOpenAddress(const XString& address);
// Shows the file in the file manager, selected where it can, else its folder.
bool XShowFileInFolder(const XString& path);
