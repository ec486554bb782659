#include "foundation/platform/posix/path_errors.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "foundation/platform/last_error.h"

bool XPosixFail(int errnoValue, const char* utf8Path) {
    if (errnoValue == ENOENT && utf8Path) {
        // Windows says "path not found" when a folder on the way is missing.
        std::string parent(utf8Path);
        while (parent.size() > 1 && parent.back() == '/') parent.pop_back();
        size_t cut = parent.rfind('/');
        if (cut != std::string::npos) {
            parent.resize(cut == 0 ? 1 : cut);
            struct stat st {};
            if (stat(parent.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
                XSetLastError(XErr::PathNotFound);
                return false;
            }
        }
    }
    XSetLastErrorFromErrno(errnoValue);
    return false;
}
