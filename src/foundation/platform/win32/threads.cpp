// Threads on the system's own calls: a held thread starts suspended, a park is SuspendThread.
#include "foundation/platform/threads.h"

#include <process.h>
#include <windows.h>

#include <atomic>

#include "foundation/platform/faults.h"
#include "foundation/platform/last_error.h"

struct XThreadControl {
    std::atomic<int> refs{2};  // the owner's handle and the thread itself
    HANDLE thread = nullptr;
    XThreadEntry entry = nullptr;
    void* argument = nullptr;
};

namespace {

void Release(XThreadControl* control) {
    if (control->refs.fetch_sub(1) == 1) {
        if (control->thread) CloseHandle(control->thread);
        delete control;
    }
}

unsigned __stdcall Run(void* raw) {
    auto* control = static_cast<XThreadControl*>(raw);
    XPrepareThreadFaultStack();
    control->entry(control->argument);
    Release(control);
    return 0;
}

}  // namespace

XThreadHandle XCreateThread(XThreadEntry entry, void* argument, bool held) {
    auto* control = new XThreadControl;
    control->entry = entry;
    control->argument = argument;
    const uintptr_t thread = _beginthreadex(nullptr, 0, Run, control, held ? CREATE_SUSPENDED : 0, nullptr);
    if (thread == 0) {
        delete control;
        XSetLastError(XErr::NotEnoughMemory);
        return nullptr;
    }
    control->thread = reinterpret_cast<HANDLE>(thread);
    return control;
}

bool XResumeThread(XThreadHandle thread) { return thread && ResumeThread(thread->thread) != static_cast<DWORD>(-1); }

bool XSuspendThread(XThreadHandle thread) { return thread && SuspendThread(thread->thread) != static_cast<DWORD>(-1); }

bool XWaitThread(XThreadHandle thread, uint32_t milliseconds) {
    if (!thread) return true;
    return WaitForSingleObject(thread->thread, milliseconds) == WAIT_OBJECT_0;
}

void XCloseThread(XThreadHandle thread) {
    if (thread) Release(thread);
}

bool XPlatformSetThreadName(XThreadHandle thread, const char* utf8Name) {
    using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    static const SetDescription set = [] {
        // Newer systems only: looked up where it lives, then where it used to.
        for (const wchar_t* library : {L"KernelBase.dll", L"kernel32.dll"}) {
            HMODULE module = GetModuleHandleW(library);
            FARPROC proc = module ? GetProcAddress(module, "SetThreadDescription") : nullptr;
            if (proc) return reinterpret_cast<SetDescription>(reinterpret_cast<void*>(proc));
        }
        return static_cast<SetDescription>(nullptr);
    }();
    if (!set || !utf8Name) return false;
    wchar_t name[64] = {};
    MultiByteToWideChar(CP_UTF8, 0, utf8Name, -1, name, 63);
    return SUCCEEDED(set(thread ? thread->thread : GetCurrentThread(), name));
}
