#include "meter_thread.h"

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
    Chunk chunk;
    {
        std::unique_lock<std::mutex> hold(lock);
        while (!waiting.empty() && waitingBytes + bytes > limit) {
            // Full: rather than wait on a thread of idle priority, measure the oldest here.
            hold.unlock();
            MeasureNext();
            hold.lock();
        }
        if (!spare.empty()) {
            chunk = std::move(spare.back());
            spare.pop_back();
        }
    }
    // Copied outside the lock, so that the measuring side can take the next chunk meanwhile.
    chunk.assign(data, data + bytes);
    {
        std::lock_guard<std::mutex> hold(lock);
        waitingBytes += bytes;
        waiting.push_back(std::move(chunk));
    }
    changed.notify_all();
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
    Chunk chunk;
    {
        std::lock_guard<std::mutex> hold(lock);
        if (waiting.empty() || dropping) return false;
        chunk = std::move(waiting.front());
        waiting.pop_front();
    }
    Measure(chunk.data(), chunk.size());
    {
        std::lock_guard<std::mutex> hold(lock);
        waitingBytes -= chunk.size();
        spare.push_back(std::move(chunk));
    }
    changed.notify_all();
    return true;
}

void MeterThread::Run() {
    // Refused, it measures at the normal priority: only the sharing of the second core suffers.
    tvkit::os::LowerThreadToIdle();
    for (;;) {
        {
            std::unique_lock<std::mutex> hold(lock);
            changed.wait(hold, [this] { return !waiting.empty() || ending || lastAdded; });
            if (dropping) return;
            if (waiting.empty()) break;
        }
        MeasureNext();
    }
    // Everything given is measured: the queue's memory goes back here, at idle priority. A
    // block that still comes is measured by Stop on the caller's thread.
    std::vector<Chunk> done;
    std::lock_guard<std::mutex> hold(lock);
    done.swap(spare);
}

}  // namespace tvfx
