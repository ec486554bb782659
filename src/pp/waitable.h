#pragma once
// Objects a thread can wait on, together with its aborter: plain events, a lock taken by the
// waiter that wins it, a counting semaphore and the aborter itself. Each wraps one event of the
// platform layer, so a wait can also take sockets and pipes beside it.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "foundation/platform/handle.h"

namespace PP {

// The event: manual reset, not set at first. A copy duplicates the handle; a borrowed handle
// is not closed.
class waitableImpl {
public:
    waitableImpl();
    waitableImpl(XFileHandle borrowed, bool isBorrowed);
    waitableImpl(const waitableImpl& other);
    waitableImpl& operator=(const waitableImpl&) = delete;
    ~waitableImpl();

    XFileHandle handle() const { return m_handle; }
    void set();
    void reset();
    bool isSet() const;

private:
    XFileHandle m_handle;
    bool m_borrowed;
};

class waitable : public waitableImpl {
public:
    using waitableImpl::waitableImpl;
    virtual ~waitable() = default;
    // Called when a wait saw the event; true when the wait is satisfied. A false keeps the
    // waiter waiting for the time it has left.
    virtual bool acquire() { return true; }
};

// The lock that counters of waitables share; held for short steps only.
std::mutex& waitableCounterLock();

// A lock taken by waiting on it: the event is set while the lock is free.
class resourceLock : public waitable {
public:
    resourceLock();
    bool acquire() override;
    void release();
    bool isHeld() const;

private:
    bool m_held = false;
};

// A counting waitable: the event is set while the count is above 0.
class semaphoreLike : public waitable {
public:
    explicit semaphoreLike(uint32_t initial = 0);
    bool acquire() override;
    void release(uint32_t count = 1);
    uint32_t count() const;

private:
    uint32_t m_count = 0;
};

// Once set, tells the threads that test it to stop.
class aborter : public waitable {
public:
    aborter() = default;
    aborter(const aborter&) = delete;
    void abort();
    // Setting the event is firing: the flag below must follow it.
    void set() { abort(); }
    void reset();
    bool isAborted() const { return m_fired.load(std::memory_order_acquire); }

private:
    // Mirrors the event, so that the frequent tests in read loops need no system call.
    std::atomic<bool> m_fired{false};
};

}  // namespace PP
