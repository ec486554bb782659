#pragma once
// The table of children that XWaitProcess and XKillProcess look up by id: a child started
// elsewhere in the Windows backend hands its process handle over here.
#include <windows.h>

#include "foundation/platform/process.h"

void XAdoptChildHandle(XProcessId pid, HANDLE process);
