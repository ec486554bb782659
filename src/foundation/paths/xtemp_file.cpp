#include "foundation/paths/xtemp_file.h"

#include <atomic>

#include "foundation/files/xfile.h"
#include "foundation/platform/faults.h"
#include "foundation/platform/guid.h"
#include "foundation/platform/known_folders.h"
#include "foundation/platform/last_error.h"

namespace {

// The process's part of every temporary name, made once on first use.
const XString& UniqueText() {
    static const XString unique = XNewGuidText();
    return unique;
}

std::atomic<int> g_tempCounter{0};

// A name that is taken makes the loop go on; any other error will not go away by trying
// more numbers, so it ends the loop after this many attempts.
constexpr int kMaxHardFailures = 100;

bool ReserveName(const XString& name) {
    XFile file;
    if (!file.Open(name, XAccess::Write, XDisposition::CreateNew)) return false;
    file.Close();
    return true;
}

}  // namespace

XTempFile::XTempFile(const char* prefix, const char* suffix) { Create(prefix, suffix); }

XTempFile::~XTempFile() {
    if (!IsEmpty()) Delete();
    Release();
}

void XTempFile::Release() {
    if (!IsEmpty()) XForgetOnFault(*this);
    Clear();
}

void XTempFile::Create(const char* prefix, const char* suffix) {
    if (!IsEmpty()) Delete();
    Release();
    XString prefixText(prefix ? prefix : "TMP", false);
    XString suffixText(suffix ? suffix : "", false);
    XPath folder(XTempFolderPath());
    for (int hardFailures = 0; hardFailures < kMaxHardFailures;) {
        int number = ++g_tempCounter;
        XString name = folder;
        name.AppendFast(XString::Formatted(u"%s-%s-%d", prefixText.Text(), UniqueText().Text(), number));
        name.AppendFast(suffixText);
        if (ReserveName(name)) {
            XString::Assign(name);
            XRemoveOnFault(name);
            return;
        }
        if (XGetLastError() == XErr::PathNotFound) {
            folder.CreateFolders();
            if (ReserveName(name)) {
                XString::Assign(name);
                XRemoveOnFault(name);
                return;
            }
        }
        uint32_t error = XGetLastError();
        if (error != XErr::AlreadyExists && error != XErr::FileExists) ++hardFailures;
    }
    // The last error tells why no name could be had; the path stays empty.
}

void XTempFile::Adopt(const XString& path) {
    if (!IsEmpty()) Delete();
    Release();
    XString::Assign(path);
    if (!IsEmpty()) XRemoveOnFault(path);
}

XTempFolder::XTempFolder(const char* prefix) { Create(prefix); }

XTempFolder::~XTempFolder() {
    if (!IsEmpty()) DeleteFiles(true, nullptr, true);
}

void XTempFolder::Create(const char* prefix) {
    if (!IsEmpty()) DeleteFiles(true, nullptr, true);
    Clear();
    XTempFile file(prefix);
    if (file.IsEmpty()) return;
    XPath path(static_cast<const XString&>(file));
    file.Adopt(XString());
    path.AddBackslash();
    if (path.CreateFolders()) XString::Assign(path);
}

void XTempFolder::Adopt(const XString& path) {
    if (!IsEmpty()) DeleteFiles(true, nullptr, true);
    XString::Assign(path);
}
