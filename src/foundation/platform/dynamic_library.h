#pragma once
// Libraries loaded at run time, the counterparts of LoadLibraryW, GetProcAddress and
// FreeLibrary. Failures set the thread's last error (2 missing file, 5 a folder, 193 not a
// loadable library, 127 a missing export).
#include "foundation/text/xstring.h"

using XModuleHandle = void*;

// Loads with every symbol bound at once and nothing exported to later loads.
XModuleHandle XSysLoadLibrary(const XString& path);
// The address of an exported name, matched exactly; null when missing.
void* XSysGetProcAddress(XModuleHandle module, const char* name);
bool XSysFreeLibrary(XModuleHandle module);
// The loader's own text about the last failure on this thread (for the debug log).
XString XSysLoaderErrorText();
