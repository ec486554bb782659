#include "meter_thread.h"

#include <cstring>
#include <system_error>

#include "tvkit/os_process.h"

namespace tvfx {

bool MeterThread::Start(const Layout& layout) {
    if (!meter.Start(layout.channels, layout.rate)) return false;
    shape = layout;
    started = true;
    try {
        worker = std::thread([this] { Run(); });
    } catch (const std::system_error&) {
        // No thread to be had: Add measures on the caller's thread instead.
    }
    return true;
}

void MeterThread::Add(const uint8_t* data, size_t frames) {
    if (!started || frames == 0) return;
    const size_t bytes = frames * shape.frameBytes;
    if (!worker.joinable()) {
        Measure(data, bytes);
        return;
    }
    uint8_t* place = nullptr;
    {
        std::unique_lock<std::mutex> hold(lock);
        for (;;) {
            bool full = false;
            place = ring.Claim(bytes, full);
            if (place || !full) break;
            // Full: rather than wait on a thread of idle priority, measure the oldest here.
            hold.unlock();
            MeasureNext();
            hold.lock();
        }
        // Pages the thread hasn't put in place yet come by a call here, not a fault each.
        if (place) {
            while (Populate(hold, ring.Tail())) {}
        }
    }
    if (!place) {
        // A block the ring can't hold is measured here, after every block before it.
        while (MeasureNext()) {}
        std::lock_guard<std::mutex> turn(measuring);
        Measure(data, bytes);
        return;
    }
    // Copied outside the lock, so that the measuring side can take the next block meanwhile.
    std::memcpy(place, data, bytes);
    {
        std::lock_guard<std::mutex> hold(lock);
        ring.Commit(place, bytes);
    }
    changed.notify_all();
}

bool MeterThread::Populate(std::unique_lock<std::mutex>& hold, size_t end) {
    uint8_t* at = nullptr;
    size_t size = 0;
    if (!ring.NextToPopulate(end, at, size)) return false;
    hold.unlock();
    tvkit::os::PopulateMemory(at, size);
    hold.lock();
    return true;
}

void MeterThread::NoMoreBlocks() {
    {
        std::lock_guard<std::mutex> hold(lock);
        lastAdded = true;
    }
    changed.notify_all();
}

void MeterThread::Stop(bool measureRest) {
    if (!worker.joinable()) return;
    {
        std::lock_guard<std::mutex> hold(lock);
        ending = true;
        dropping = !measureRest;
    }
    changed.notify_all();
    // The caller waits for the figures anyway: it measures beside the thread, at its own priority.
    if (measureRest) {
        while (MeasureNext()) {}
    }
    worker.join();
}

void MeterThread::Measure(const uint8_t* data, size_t bytes) { meter.AddPcm(data, bytes / shape.frameBytes, shape); }

bool MeterThread::MeasureNext() {
    std::lock_guard<std::mutex> turn(measuring);
    std::pair<const uint8_t*, size_t> block;
    {
        std::lock_guard<std::mutex> hold(lock);
        if (ring.Empty() || dropping) return false;
        block = ring.Front();
    }
    // The block keeps its room in the ring until it is popped.
    Measure(block.first, block.second);
    {
        std::lock_guard<std::mutex> hold(lock);
        ring.Pop();
    }
    changed.notify_all();
    return true;
}

void MeterThread::Run() {
    // Refused, it measures at the normal priority: only the sharing of the second core suffers.
    tvkit::os::LowerThreadToIdle();
    std::unique_lock<std::mutex> hold(lock);
    for (;;) {
        // The ring's next pages first: the copying waits for them, the measurement doesn't.
        // After the last block none are needed, and putting them in place would only hold up
        // the caller's unmapping of its views, which waits for that call.
        if (!dropping && !lastAdded && Populate(hold, ring.Tail() + PopulateAhead)) continue;
        changed.wait(hold, [this] { return !ring.Empty() || ending || lastAdded; });
        if (dropping) return;
        if (ring.Empty()) {
            if (ending || lastAdded) break;
            continue;
        }
        hold.unlock();
        MeasureNext();
        hold.lock();
    }
    // Everything given is measured: the ring's memory goes back here, at idle priority. A
    // block that still comes is measured on the caller's thread.
    ring.Release();
}

}  // namespace tvfx
