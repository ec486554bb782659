#include "foundation/platform/win32/child_start.h"

#include <map>
#include <mutex>
#include <vector>

#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/win32_util.h"

namespace {

std::mutex g_childrenLock;
std::map<XProcessId, HANDLE> g_children;  // started here and not yet waited for

// An inheritable copy of handle, for the child alone; null when there is none to copy.
HANDLE InheritableCopy(HANDLE handle) {
    HANDLE copy = nullptr;
    if (!XUsableHandle(handle)) return nullptr;
    if (!DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &copy, 0, TRUE, DUPLICATE_SAME_ACCESS)) {
        return nullptr;
    }
    return copy;
}

}  // namespace

void XAppendArgument(std::wstring& line, const std::wstring& argument) {
    if (!line.empty()) line += L' ';
    if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
        line += argument;
        return;
    }
    line += L'"';
    size_t backslashes = 0;
    for (wchar_t c : argument) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        // Backslashes before a quote are doubled, and the quote escaped.
        line.append(c == L'"' ? backslashes * 2 + 1 : backslashes, L'\\');
        backslashes = 0;
        line += c;
    }
    line.append(backslashes * 2, L'\\');
    line += L'"';
}

std::wstring XCommandLineOf(const char* const* argv) {
    std::wstring line;
    for (int i = 0; argv[i]; ++i) XAppendArgument(line, XWideFromUtf8(argv[i]));
    return line;
}

std::wstring XFindProgram(const char* name) {
    const std::wstring wide = XWideFromUtf8(name);
    std::wstring found(MAX_PATH, L'\0');
    for (;;) {
        // A name with a folder is resolved as it stands; SearchPathW skips the search then.
        const DWORD n =
            SearchPathW(nullptr, wide.c_str(), L".exe", static_cast<DWORD>(found.size()), found.data(), nullptr);
        if (n == 0) {
            XSetLastError(XErr::FileNotFound);
            return std::wstring();
        }
        if (n < found.size()) {
            found.resize(n);
            return found;
        }
        found.resize(n);
    }
}

bool XCreateChild(const std::wstring& program, const char* const* argv, const wchar_t* directory,
                  const HANDLE standard[3], DWORD flags, PROCESS_INFORMATION& info) {
    std::wstring line = XCommandLineOf(argv);
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    HANDLE copies[3] = {};
    std::vector<HANDLE> inherited;
    for (int n = 0; n < 3; ++n) {
        copies[n] = InheritableCopy(standard[n]);
        bool seen = false;
        for (HANDLE h : inherited) seen = seen || h == copies[n];
        if (copies[n] && !seen) inherited.push_back(copies[n]);
    }
    startup.StartupInfo.hStdInput = copies[0];
    startup.StartupInfo.hStdOutput = copies[1];
    startup.StartupInfo.hStdError = copies[2];
    // Only the copies made here are inherited, even while other threads start children with
    // their own inheritable handles.
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    std::vector<unsigned char> attributes(size);
    auto* list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attributes.data());
    bool listed = !inherited.empty() && InitializeProcThreadAttributeList(list, 1, 0, &size) &&
                  UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited.data(),
                                            inherited.size() * sizeof(HANDLE), nullptr, nullptr);
    if (listed) startup.lpAttributeList = list;
    BOOL ok = CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, inherited.empty() ? FALSE : TRUE,
                             flags | CREATE_UNICODE_ENVIRONMENT | (listed ? EXTENDED_STARTUPINFO_PRESENT : 0), nullptr,
                             directory && *directory ? directory : nullptr, &startup.StartupInfo, &info);
    const DWORD error = GetLastError();
    if (listed) DeleteProcThreadAttributeList(list);
    for (HANDLE h : inherited) CloseHandle(h);
    if (!ok) {
        SetLastError(error);
        return false;
    }
    XAdoptChildHandle(static_cast<XProcessId>(info.dwProcessId), info.hProcess);
    return true;
}

void XAdoptChildHandle(XProcessId pid, HANDLE process) {
    std::lock_guard<std::mutex> lock(g_childrenLock);
    g_children[pid] = process;
}

HANDLE XChildHandle(XProcessId pid, bool remove) {
    std::lock_guard<std::mutex> lock(g_childrenLock);
    auto found = g_children.find(pid);
    if (found == g_children.end()) return nullptr;
    HANDLE handle = found->second;
    if (remove) g_children.erase(found);
    return handle;
}
