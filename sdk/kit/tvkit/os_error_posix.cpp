// POSIX backend of the kit's last-error record.
#include <cerrno>
#include <cstring>

#include "tvkit/os_error.h"
#include "tvkit/os_error_posix.h"
#include "tvkit/text.h"

namespace tvkit::os {

namespace {
thread_local int lastError = 0;
thread_local std::u16string lastText;
}  // namespace

namespace posix {

bool Failed() { return FailedWith(errno); }

bool FailedWith(int error, std::u16string text) {
    lastError = error;
    lastText = std::move(text);
    return false;
}

}  // namespace posix

int LastError() { return lastError; }

std::u16string LastErrorText() { return lastText.empty() ? Utf8ToUtf16(std::strerror(lastError)) : lastText; }

bool LastErrorIsExists() { return lastError == EEXIST; }

}  // namespace tvkit::os
