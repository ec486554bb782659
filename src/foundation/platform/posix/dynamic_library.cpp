#include "foundation/platform/dynamic_library.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "foundation/platform/last_error.h"

namespace {
constexpr uint32_t kProcNotFound = 127;
constexpr uint32_t kBadExeFormat = 193;

thread_local std::string loaderError;

void KeepLoaderError() {
    const char* text = dlerror();
    loaderError = text ? text : "";
}
}  // namespace

XModuleHandle XSysLoadLibrary(const XString& path) {
    const std::string narrow = path.ToStdUtf8();
    struct stat st {};
    if (::stat(narrow.c_str(), &st) != 0) {
        XSetLastErrorFromErrno(errno);
        loaderError = "no such file";
        return nullptr;
    }
    if (S_ISDIR(st.st_mode)) {
        // The system loader of the other platform answers a folder with "access denied".
        XSetLastError(XErr::AccessDenied);
        loaderError = "is a folder";
        return nullptr;
    }
    void* module = ::dlopen(narrow.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        KeepLoaderError();
        XSetLastError(kBadExeFormat);
    }
    return module;
}

void* XSysGetProcAddress(XModuleHandle module, const char* name) {
    if (!module || !name) {
        XSetLastError(XErr::InvalidHandle);
        return nullptr;
    }
    dlerror();  // clear any older text, so a null symbol can be told from a failure
    void* address = ::dlsym(module, name);
    if (!address) {
        KeepLoaderError();
        XSetLastError(kProcNotFound);
    }
    return address;
}

bool XSysFreeLibrary(XModuleHandle module) {
    if (!module) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    if (::dlclose(module) != 0) {
        KeepLoaderError();
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    return true;
}

XString XSysLoaderErrorText() { return XString(loaderError.c_str(), true); }
