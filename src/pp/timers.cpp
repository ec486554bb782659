#include "pp/timers.h"

#include <cmath>
#include <limits>
#include <list>
#include <mutex>
#include <vector>

#include "foundation/platform/clock.h"
#include "pp/exceptions.h"
#include "pp/thread.h"
#include "pp/wait.h"
#include "pp/waitable.h"

namespace PP {

namespace {

struct timerRecord {
    std::function<void()> fn;
    double period = 1.0;
    uint64_t fired = 0;
    double start = 0;
    bool repeat = true;
    bool catchUp = false;
};

struct watchRecord {
    std::function<void()> fn;
    waitable* object = nullptr;
    bool once = true;
};

// How long an empty service waits for a new record before its thread leaves.
constexpr double idleSeconds = 1.0;
// At most this many runs of a late timer's callback in one turn.
constexpr uint64_t maxCatchUpRuns = 2;

class timerService {
public:
    timerService() : m_origin(XGetTickCount64()), m_thread("timer thread") {}
    ~timerService() {
        {
            std::lock_guard<std::mutex> guard(m_lock);
            m_shutDown = true;
        }
        m_thread.join();
    }

    double clock() const { return double(XGetTickCount64() - m_origin) / 1000.0; }

    std::shared_ptr<timerRecord> add(std::shared_ptr<timerRecord> t) {
        std::lock_guard<std::mutex> guard(m_lock);
        if (m_shutDown) return nullptr;
        t->start = clock();
        m_timers.push_back(t);
        wakeLocked();
        return t;
    }

    std::shared_ptr<watchRecord> add(std::shared_ptr<watchRecord> w) {
        std::lock_guard<std::mutex> guard(m_lock);
        if (m_shutDown) return nullptr;
        m_watches.push_back(w);
        wakeLocked();
        return w;
    }

    void remove(const timerRecord* t) {
        std::lock_guard<std::mutex> guard(m_lock);
        m_timers.remove_if([t](const std::shared_ptr<timerRecord>& r) { return r.get() == t; });
        m_wake.set();
    }

    void remove(const watchRecord* w) {
        std::lock_guard<std::mutex> guard(m_lock);
        m_watches.remove_if([w](const std::shared_ptr<watchRecord>& r) { return r.get() == w; });
        m_wake.set();
    }

    bool running() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_running;
    }

private:
    void wakeLocked() {
        m_wake.set();
        if (!m_running) {
            m_running = true;
            m_thread.start([this] { loop(); });
        }
    }

    void loop() {
        bool emptyBefore = false;
        for (;;) {
            std::unique_lock<std::mutex> lock(m_lock);
            m_wake.reset();
            const bool empty = m_timers.empty() && m_watches.empty();
            if (empty && emptyBefore) {
                m_running = false;
                return;
            }
            emptyBefore = empty;

            const double now = clock();
            std::shared_ptr<timerRecord> due;
            double smallestWait = empty ? idleSeconds : -1.0;
            for (const auto& t : m_timers) {
                double wait = double(t->fired + 1) * t->period - (now - t->start);
                if (wait <= 0) {
                    if (!due) due = t;
                } else if (smallestWait < 0 || wait < smallestWait) {
                    smallestWait = wait;
                }
            }
            if (due) {
                double overdue = (now - due->start) - double(due->fired + 1) * due->period;
                uint64_t owed = due->period > 0 ? uint64_t(std::floor(overdue / due->period)) + 1 : 1;
                uint64_t runs = due->catchUp ? std::min(owed, maxCatchUpRuns) : 1;
                due->fired += owed;
                if (!due->repeat) m_timers.remove(due);
                lock.unlock();
                for (uint64_t i = 0; i < runs; ++i) due->fn();
                continue;
            }

            std::vector<std::shared_ptr<watchRecord>> watches(m_watches.begin(), m_watches.end());
            std::vector<waitable*> objects;
            objects.push_back(&m_wake);
            for (const auto& w : watches) objects.push_back(w->object);
            lock.unlock();

            // The thread's own aborter (fired at shut-down) ends the loop by user_abort.
            size_t which = waitMany(objects.data(), objects.size(), smallestWait);
            if (which == waitTimedOut || which == 0) continue;
            const auto& w = watches[which - 1];
            if (w->once) remove(w.get());
            w->fn();
        }
    }

    std::mutex m_lock;
    uint64_t m_origin;
    std::list<std::shared_ptr<timerRecord>> m_timers;
    std::list<std::shared_ptr<watchRecord>> m_watches;
    waitable m_wake;
    bool m_running = false;
    bool m_shutDown = false;
    thread m_thread;
};

timerService& service() {
    static timerService s;
    return s;
}

template <class Record>
class recordHandle : public timerHandle {
public:
    explicit recordHandle(std::shared_ptr<Record> r) : m_record(std::move(r)) {}
    ~recordHandle() override { service().remove(m_record.get()); }

private:
    std::shared_ptr<Record> m_record;
};

}  // namespace

timerPtr addTimer(double periodSeconds, std::function<void()> fn, bool catchUp, bool repeat) {
    auto t = std::make_shared<timerRecord>();
    t->fn = std::move(fn);
    t->period = periodSeconds;
    t->repeat = repeat;
    t->catchUp = catchUp;
    t = service().add(std::move(t));
    if (!t) return nullptr;
    return std::make_shared<recordHandle<timerRecord>>(std::move(t));
}

timerPtr addAbortWatch(waitable& w, std::function<void()> fn, bool once) {
    auto r = std::make_shared<watchRecord>();
    r->fn = std::move(fn);
    r->object = &w;
    r->once = once;
    r = service().add(std::move(r));
    if (!r) return nullptr;
    return std::make_shared<recordHandle<watchRecord>>(std::move(r));
}

bool timerServiceRunning() { return service().running(); }

std::shared_ptr<onLeaving> onLeaving::make(waitable& w, std::function<void()> fn) {
    std::shared_ptr<onLeaving> o(new onLeaving());
    o->m_fn = std::move(fn);
    std::weak_ptr<onLeaving> weak = o;
    // The watch holds the object weakly: a dropped object has already run its callback.
    o->m_watch = addAbortWatch(w, [weak] {
        if (auto self = weak.lock()) self->runOnce();
    });
    return o;
}

onLeaving::~onLeaving() {
    m_watch.reset();
    runOnce();
}

void onLeaving::runOnce() {
    if (!m_done.exchange(true)) m_fn();
}

}  // namespace PP
