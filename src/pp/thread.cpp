#include "pp/thread.h"

#include "foundation/platform/named_objects.h"
#include "foundation/platform/scheduling.h"
#include "foundation/platform/threads.h"
#include "pp/abort.h"
#include "pp/exceptions.h"

namespace PP {

struct thread::run {
    std::function<void()> fn;
    std::string name;
    aborter* abortWith;
    int priority;
    std::shared_ptr<std::atomic<bool>> running;
};

thread::thread(std::string name, bool wantAborter)
    : m_name(std::move(name)), m_wantAborter(wantAborter), m_running(std::make_shared<std::atomic<bool>>(false)) {}

thread::~thread() { join(); }

void thread::entry(void* argument) {
    std::unique_ptr<run> r(static_cast<run*>(argument));
    if (!r->name.empty()) setThreadName(r->name);
    // A refused raise (no privileges) leaves the thread at its start priority, which is fine.
    if (r->priority != 0) XSetCurrentThreadPriority(r->priority);
    try {
        abortScope scope(r->abortWith);
        r->fn();
    } catch (...) {
        // A thread function never lets an exception out: its end is the report.
    }
    r->running->store(false, std::memory_order_release);
}

void thread::start(std::function<void()> fn, int priority) {
    join();
    if (m_wantAborter) {
        if (m_aborter) {
            m_aborter->reset();
        } else {
            m_aborter = std::make_unique<aborter>();
        }
    }
    m_priority = priority;
    auto r = std::make_unique<run>(run{std::move(fn), m_name, m_aborter.get(), priority, m_running});
    m_running->store(true, std::memory_order_release);
    XThreadControl* h = XCreateThread(&thread::entry, r.get(), true);
    if (!h) {
        m_running->store(false, std::memory_order_release);
        throwFixed<bug_check>();
    }
    r.release();
    m_handle = h;
    XResumeThread(h);
}

void thread::abort() {
    if (m_aborter) m_aborter->abort();
}

void thread::join() {
    if (!m_handle) return;
    abort();
    XWaitThread(m_handle, XInfinite);
    XCloseThread(m_handle);
    m_handle = nullptr;
}

bool thread::isRunning() const { return m_running->load(std::memory_order_acquire); }

void setThreadName(const std::string& name) { XPlatformSetThreadName(nullptr, name.c_str()); }

}  // namespace PP
