#include "foundation/sync/xthread.h"

#include <utility>

#include "foundation/platform/clock.h"
#include "foundation/platform/process.h"

namespace {

struct StartBlock {
    XObjectHandle event = nullptr;  // the thread's own handle on the stop event
    XThreadFunction function = nullptr;
    void* argument = nullptr;
};

void ThreadEntry(void* raw) {
    auto* block = static_cast<StartBlock*>(raw);
    XEvent stop;
    stop.Attach(std::exchange(block->event, nullptr));
    XThreadFunction function = block->function;
    void* argument = block->argument;
    delete block;
    function(stop, argument);
}

void CallFunction(XEvent& stop, void* argument) {
    auto* function = static_cast<std::function<void(XEvent&)>*>(argument);
    try {
        (*function)(stop);
    } catch (...) {
        // Nothing may leave a thread's entry; the callable form is defined to end quietly.
    }
    delete function;
}

}  // namespace

XThread::~XThread() {
    if (thread) {
        Stop(true);
        XCloseThread(std::exchange(thread, nullptr));
    }
    Close();
}

bool XThread::Start(XThreadFunction function, void* argument, bool startSuspended, uint32_t wait) {
    if (thread) {
        Stop(true);
        XCloseThread(std::exchange(thread, nullptr));
    }
    suspended = startSuspended;
    stopWait = wait;
    // The stop event is private to the process; the thread gets its own handle on it.
    if (!Create(nullptr)) return false;
    auto* block = new StartBlock{XDuplicateObject(handle), function, argument};
    thread = XCreateThread(ThreadEntry, block, startSuspended);
    if (!thread) {
        XCloseObject(block->event);
        delete block;
        suspended = false;
        return false;
    }
    return true;
}

bool XThread::Start(std::function<void(XEvent&)> function, bool startSuspended, uint32_t wait) {
    auto* copy = new std::function<void(XEvent&)>(std::move(function));
    if (!Start(CallFunction, copy, startSuspended, wait)) {
        delete copy;
        return false;
    }
    return true;
}

void XThread::Resume() {
    if (thread && suspended) {
        XResumeThread(thread);
        suspended = false;
    }
}

void XThread::Stop(bool wait) {
    if (!thread) return;
    Resume();
    Set();
    if (!wait) return;
    if (stopWait == 0) {
        XWaitThread(thread, XInfinite);
    } else if (!XWaitThread(thread, stopWait)) {
        XSuspendThread(thread);
        suspended = true;
    }
}

bool XThread::IsFinished(uint32_t milliseconds) { return !thread || XWaitThread(thread, milliseconds); }

void XThread::Release() {
    XCloseThread(std::exchange(thread, nullptr));
    suspended = false;
    Close();
}

bool XDetachedThreads::closing = false;

std::mutex& XDetachedThreads::Section() {
    static std::mutex section;
    return section;
}

std::vector<std::unique_ptr<XThread>>& XDetachedThreads::List() {
    static auto* list = new std::vector<std::unique_ptr<XThread>>;  // never freed: threads may outlive exit
    return *list;
}

void XDetachedThreads::Run(std::function<void()> function) {
    std::lock_guard<std::mutex> guard(Section());
    if (closing) XExitProcess(0);
    auto& list = List();
    std::erase_if(list, [](const std::unique_ptr<XThread>& t) { return t->IsFinished(0); });
    auto worker = std::make_unique<XThread>();
    worker->Start([f = std::move(function)](XEvent&) { f(); }, false, 0);
    list.push_back(std::move(worker));
}

void XDetachedThreads::WaitAll(uint32_t milliseconds) {
    std::vector<XThreadHandle> running;
    {
        std::lock_guard<std::mutex> guard(Section());
        closing = true;
        auto& list = List();
        std::erase_if(list, [](const std::unique_ptr<XThread>& t) { return t->IsFinished(0); });
        // The entries stay in the list (Run no longer changes it), so the handles stay valid.
        for (auto& t : list) running.push_back(t->thread);
    }
    uint64_t deadline = XGetTickCount64() + milliseconds;
    for (XThreadHandle t : running) {
        uint32_t left = 0;
        if (milliseconds == XInfinite) {
            left = XInfinite;
        } else {
            uint64_t now = XGetTickCount64();
            left = now < deadline ? static_cast<uint32_t>(deadline - now) : 0;
        }
        if (!XWaitThread(t, left)) XExitProcess(-1);
    }
}

void XSetThreadName(const XThread& thread, const char16_t* text) {
    if (!thread.thread || !text) return;
    XString name(text);
    XPlatformSetThreadName(thread.thread, name.Utf8());
}

void XSetThreadName(const char16_t* text) {
    if (!text) return;
    XString name(text);
    XPlatformSetThreadName(nullptr, name.Utf8());
}
