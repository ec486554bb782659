#include "pp/waitable.h"

#include "foundation/platform/file_io.h"
#include "foundation/platform/wait_handles.h"
#include "pp/exceptions.h"

namespace PP {

waitableImpl::waitableImpl() : m_handle(XCreateWaitEvent()), m_borrowed(false) {
    if (m_handle == XInvalidHandle) throwFixed<bug_check>();
}

waitableImpl::waitableImpl(XFileHandle borrowed, bool isBorrowed) : m_handle(borrowed), m_borrowed(isBorrowed) {}

waitableImpl::waitableImpl(const waitableImpl& other)
    : m_handle(XSysDuplicateHandle(other.m_handle, false)), m_borrowed(false) {
    if (m_handle == XInvalidHandle) throwFixed<bug_check>();
}

waitableImpl::~waitableImpl() {
    if (!m_borrowed && m_handle != XInvalidHandle) XSysCloseHandle(m_handle);
}

void waitableImpl::set() { XSetWaitEvent(m_handle); }
void waitableImpl::reset() { XResetWaitEvent(m_handle); }
bool waitableImpl::isSet() const { return XIsWaitEventSet(m_handle); }

std::mutex& waitableCounterLock() {
    static std::mutex lock;
    return lock;
}

resourceLock::resourceLock() { set(); }

bool resourceLock::acquire() {
    std::lock_guard<std::mutex> guard(waitableCounterLock());
    if (m_held) return false;
    m_held = true;
    reset();
    return true;
}

void resourceLock::release() {
    std::lock_guard<std::mutex> guard(waitableCounterLock());
    m_held = false;
    set();
}

bool resourceLock::isHeld() const {
    std::lock_guard<std::mutex> guard(waitableCounterLock());
    return m_held;
}

semaphoreLike::semaphoreLike(uint32_t initial) : m_count(initial) {
    if (m_count > 0) set();
}

bool semaphoreLike::acquire() {
    std::lock_guard<std::mutex> guard(waitableCounterLock());
    if (m_count == 0) return false;
    if (--m_count == 0) reset();
    return true;
}

void semaphoreLike::release(uint32_t count) {
    std::lock_guard<std::mutex> guard(waitableCounterLock());
    m_count += count;
    if (m_count > 0) set();
}

uint32_t semaphoreLike::count() const {
    std::lock_guard<std::mutex> guard(waitableCounterLock());
    return m_count;
}

void aborter::abort() {
    m_fired.store(true, std::memory_order_release);
    waitableImpl::set();
}

void aborter::reset() {
    m_fired.store(false, std::memory_order_release);
    waitable::reset();
}

}  // namespace PP
