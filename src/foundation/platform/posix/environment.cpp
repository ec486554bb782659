#include "foundation/platform/environment.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "foundation/platform/last_error.h"

bool XGetEnvironmentVariable(const char16_t* name, XString& value) {
    value.Clear();
    XString key(name);
    const char* found = getenv(key.Utf8());
    if (!found) {
        XSetLastError(XErr::EnvVarNotFound);
        return false;
    }
    value.AssignUtf8(found, strlen(found));
    return true;
}

uint32_t XGetCurrentProcessId() { return static_cast<uint32_t>(getpid()); }
