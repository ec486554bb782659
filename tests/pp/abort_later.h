#pragma once
// Fires an aborter from another thread after a pause, so that a wait the test starts meanwhile
// has to end by the abort. The thread is joined when the object goes.
#include <chrono>
#include <thread>

#include "pp/waitable.h"

namespace pptest {

class abortLater {
public:
    abortLater(PP::aborter& a, double seconds)
        : m_thread([&a, seconds] {
              std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
              a.abort();
          }) {}
    ~abortLater() { m_thread.join(); }
    abortLater(const abortLater&) = delete;
    abortLater& operator=(const abortLater&) = delete;

private:
    std::thread m_thread;
};

}  // namespace pptest
