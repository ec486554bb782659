#pragma once
// A thread of the library: started held and let go once set up, named, with a priority and
// (unless told otherwise) an aborter of its own installed for its whole run. What its function
// throws ends it quietly. Destruction aborts and joins it.
#include <functional>
#include <memory>
#include <string>

#include "pp/waitable.h"

struct XThreadControl;

namespace PP {

class thread {
public:
    explicit thread(std::string name = std::string(), bool wantAborter = true);
    thread(const thread&) = delete;
    thread& operator=(const thread&) = delete;
    virtual ~thread();

    // Ends a former run (abort and join), then runs fn on a new thread at `priority`
    // (-15 idle, -2 lowest ... 2 highest). A thread that cannot be made throws bug_check.
    void start(std::function<void()> fn, int priority = 0);
    // Fires the aborter (if any) and waits for the end of the run.
    void join();
    // Fires the aborter without waiting.
    void abort();
    bool isRunning() const;
    // The aborter installed on the thread, or null when none is wanted.
    aborter* getAborter() { return m_aborter.get(); }

private:
    struct run;
    static void entry(void* argument);

    std::string m_name;
    bool m_wantAborter;
    std::unique_ptr<aborter> m_aborter;
    std::shared_ptr<std::atomic<bool>> m_running;
    XThreadControl* m_handle = nullptr;
    int m_priority = 0;
};

// Names the calling thread for debuggers and tools; nothing happens where names are not kept.
void setThreadName(const std::string& name);

}  // namespace PP
