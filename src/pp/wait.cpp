#include "pp/wait.h"

#include <cmath>
#include <vector>

#include "foundation/platform/clock.h"
#include "foundation/platform/wait_handles.h"
#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/waitable.h"

namespace PP {

uint32_t waitMilliseconds(double seconds) {
    if (seconds < 0 || std::isnan(seconds)) return waitForever;
    double ms = std::floor(seconds * 1000.0 + 0.5);
    if (ms >= double(waitForever - 1)) return waitForever - 1;
    return static_cast<uint32_t>(ms);
}

size_t waitMany(waitable* const* objects, size_t count, double seconds) {
    aborter* a = currentAborter();
    const size_t first = a ? 1 : 0;
    const size_t total = first + count;
    // The aborter first, so that it wins over an object set at the same moment.
    XWaitEntry small[16];
    std::vector<XWaitEntry> large;
    XWaitEntry* entries = small;
    if (total > 16) {
        large.resize(total);
        entries = large.data();
    }
    if (a) entries[0] = XWaitEntry{a->handle(), XWaitRead, 0};
    for (size_t i = 0; i < count; ++i) entries[first + i] = XWaitEntry{objects[i]->handle(), XWaitRead, 0};

    const uint32_t limit = waitMilliseconds(seconds);
    const uint64_t start = XGetTickCount64();
    for (;;) {
        uint32_t left = limit;
        if (limit != waitForever) {
            uint64_t spent = XGetTickCount64() - start;
            left = spent >= limit ? 0 : static_cast<uint32_t>(limit - spent);
        }
        if (total == 0) {
            // Nothing to wait on: the sleep itself.
            XWaitHandles(nullptr, 0, left);
            return waitTimedOut;
        }
        int r = XWaitHandles(entries, total, left);
        if (r < 0) throwFixed<bug_check>();
        if (r == 0) return waitTimedOut;
        if (a && (entries[0].found & XWaitRead)) {
            if (a->acquire()) throwFixed<user_abort>();
        }
        for (size_t i = 0; i < count; ++i) {
            if ((entries[first + i].found & XWaitRead) && objects[i]->acquire()) return i;
        }
        if (limit != waitForever && XGetTickCount64() - start >= limit) return waitTimedOut;
    }
}

bool waitOne(waitable* object, uint32_t milliseconds) {
    if (!object) return true;
    double seconds = milliseconds == waitForever ? -1.0 : milliseconds / 1000.0;
    size_t r = waitMany(&object, 1, seconds);
    if (r == 0) return true;
    if (milliseconds == waitForever) throwFixed<bug_check>();
    return false;
}

void sleepSeconds(double seconds) { waitMany(nullptr, 0, seconds); }

}  // namespace PP
