#pragma once
// XRewriteFile: writes a file under a temporary name beside its target and moves it over the
// target at the end, so that the target is either the old file or the complete new one.
#include "foundation/files/xfile.h"

class XRewriteFile : public XFile {
public:
    XRewriteFile() = default;
    ~XRewriteFile();

    // Opens "<target>.p<pid>[.<n>].rewrite.tmp" as a new file (n up to 99).
    bool OpenRewrite(const XString& target);
    // Uses the given temporary path.
    bool OpenRewriteNamed(const XString& target, const XString& temporary);
    // Commit when the commit flag is set, else Abandon; true when nothing is open.
    bool Finish();
    // Closes and moves the temporary file over the target, retrying for half a second.
    bool Commit();
    // Closes and deletes the temporary file.
    bool Abandon();

    void SetCommit(bool value) { commit = value; }
    bool CommitFlag() const { return commit; }
    const XString& Target() const { return target; }

protected:
    XString target;
    bool commit = true;
};

// Deletes every "*.rewrite.tmp" that a crashed run left in the folder; silent.
void XRewriteCleanup(const XString& folder);
// Writes data to target by way of a rewrite file. A failed write still commits what reached
// the temporary file, and the result is false all the same.
bool WriteAtomic(const XString& target, const void* data, uint64_t count);
