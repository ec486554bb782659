#include "foundation/files/xrewrite_file.h"

#include "foundation/paths/xfile_finder.h"
#include "foundation/paths/xpath.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/environment.h"
#include "foundation/platform/file_system.h"
#include "foundation/platform/last_error.h"

namespace {
constexpr int kNameTries = 100;
constexpr int kCommitTries = 10;
constexpr uint32_t kCommitWaitMs = 50;
// Largest single write of WriteAtomic.
constexpr uint64_t kMaxTransfer = 0x40000000;
}  // namespace

XRewriteFile::~XRewriteFile() {
    Finish();
    Close();
}

bool XRewriteFile::OpenRewrite(const XString& targetPath) {
    target = targetPath;
    XString pid = XString::FormatUInt(XGetCurrentProcessId());
    for (int n = 0; n < kNameTries; ++n) {
        XString name = target;
        name.AppendFast(u".p");
        name.AppendFast(pid);
        if (n > 0) {
            name.AppendChar(u'.');
            name.AppendFast(XString::FormatInt(n));
        }
        name.AppendFast(u".rewrite.tmp");
        if (Open(name, XAccess::Write, XDisposition::CreateNew)) return true;
    }
    return false;
}

bool XRewriteFile::OpenRewriteNamed(const XString& targetPath, const XString& temporary) {
    target = targetPath;
    return Open(temporary, XAccess::Write, XDisposition::CreateAlways);
}

bool XRewriteFile::Finish() {
    if (!IsOpen()) return true;
    return commit ? Commit() : Abandon();
}

bool XRewriteFile::Commit() {
    // The data goes to the disk before the name does, so that a crash can't leave a target
    // that has its new name but not yet its content.
    if (IsOpen()) XSysFlushFile(handle);
    Close();
    for (int attempt = 1;; ++attempt) {
        if (XSysMoveFile(*this, target, XMoveFlags::ReplaceExisting)) return true;
        if (attempt == kCommitTries) break;
        XSleep(kCommitWaitMs);
    }
    uint32_t error = XGetLastError();
    Abandon();
    XSetLastError(error);
    return false;
}

bool XRewriteFile::Abandon() {
    Close();
    return XSysDeleteFile(*this);
}

void XRewriteCleanup(const XString& folder) {
    XFileFinder finder(u"*.rewrite.tmp", folder);
    while (finder.Next()) {
        // Silent on purpose: a file that won't go now goes at the next clean-up.
        if (!finder.IsFolder()) XSysDeleteFile(finder);
    }
}

bool WriteAtomic(const XString& target, const void* data, uint64_t count) {
    XRewriteFile file;
    if (!file.OpenRewrite(target)) return false;
    bool written = true;
    const auto* bytes = static_cast<const uint8_t*>(data);
    for (uint64_t done = 0; written && done < count;) {
        uint64_t block = count - done < kMaxTransfer ? count - done : kMaxTransfer;
        written = file.Write(bytes + done, static_cast<uint32_t>(block));
        done += block;
    }
    // The commit flag stays set whatever the write did: what reached the temporary file
    // replaces the target, and a failed write still makes the result false.
    uint32_t writeError = XGetLastError();
    bool finished = file.Finish();
    if (!written) XSetLastError(writeError);
    return written && finished;
}
