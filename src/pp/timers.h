#pragma once
// The process-wide timer service: periodic and one-shot callbacks on a fixed grid, and abort
// watches that run a callback when an aborter fires. One thread runs them all; it starts with
// the first record and stops by itself once nothing is left.
#include <atomic>
#include <functional>
#include <memory>

namespace PP {

class waitable;

// Keeps a timer or watch alive; dropping it removes the record.
class timerHandle {
public:
    virtual ~timerHandle() = default;
};
using timerPtr = std::shared_ptr<timerHandle>;

// Calls `fn` every `periodSeconds` on the grid start + n * period. A timer that falls behind
// runs at most twice to catch up when `catchUp` is set (once otherwise) and skips the rest.
// Without `repeat` it runs once. Null once the service has been shut down at exit.
timerPtr addTimer(double periodSeconds, std::function<void()> fn, bool catchUp, bool repeat = true);
// Calls `fn` on the timer thread when `w` is set (an aborter firing); once, unless `once` is
// clear. `w` must outlive the handle.
timerPtr addAbortWatch(waitable& w, std::function<void()> fn, bool once = true);

// Whether the service thread is running now (it leaves when its lists stay empty).
bool timerServiceRunning();

// A callback that runs once: when the aborter fires, or else when the object is dropped.
class onLeaving {
public:
    static std::shared_ptr<onLeaving> make(waitable& w, std::function<void()> fn);
    onLeaving(const onLeaving&) = delete;
    ~onLeaving();

private:
    onLeaving() = default;
    void runOnce();

    std::function<void()> m_fn;
    std::atomic<bool> m_done{false};
    timerPtr m_watch;
};

// The shared flag of a wait that an abort may beat: set when the abort came first.
struct ks_t {
    std::atomic<bool> abortedFirst{false};
};

}  // namespace PP
