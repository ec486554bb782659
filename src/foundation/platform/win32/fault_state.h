#pragma once
// The exception being handled, handed from the filter to the dump writer.
#include <windows.h>

#include <cstdint>

void XSetFaultPointers(EXCEPTION_POINTERS* pointers, uint32_t threadId);
EXCEPTION_POINTERS* XFaultPointers();
// Loads what the services need (the dump writer's library) while the process is healthy.
void XPrepareFaultServices();
