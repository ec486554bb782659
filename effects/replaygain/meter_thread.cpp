#include "meter_thread.h"

#include <cstring>

namespace tvfx {

bool MeterThread::Start(const Layout& layout) {
    if (!meter.Start(layout.channels, layout.rate)) return false;
    shape = layout;
    worker = std::thread([this] { Run(); });
    return true;
}

void MeterThread::Add(const uint8_t* data, size_t frames) {
    if (!worker.joinable() || frames == 0) return;
    std::unique_lock<std::mutex> hold(lock);
    changed.wait(hold, [this] { return waiting.size() < MaxWaiting; });
    std::vector<uint8_t> chunk;
    if (!spare.empty()) {
        chunk = std::move(spare.back());
        spare.pop_back();
    }
    chunk.assign(data, data + frames * shape.frameBytes);
    waiting.push_back(std::move(chunk));
    changed.notify_all();
}

void MeterThread::Finish() {
    if (!worker.joinable()) return;
    {
        std::lock_guard<std::mutex> hold(lock);
        ending = true;
    }
    changed.notify_all();
    worker.join();
    finished = true;
}

void MeterThread::Run() {
    std::vector<double> samples;
    for (;;) {
        std::vector<uint8_t> chunk;
        {
            std::unique_lock<std::mutex> hold(lock);
            changed.wait(hold, [this] { return !waiting.empty() || ending; });
            if (waiting.empty()) return;
            chunk = std::move(waiting.front());
            waiting.pop_front();
        }
        changed.notify_all();
        const size_t frames = chunk.size() / shape.frameBytes;
        samples.resize(frames * shape.channels);
        ToDouble(chunk.data(), samples.size(), shape, samples.data());
        meter.Add(samples.data(), frames);
        std::lock_guard<std::mutex> hold(lock);
        spare.push_back(std::move(chunk));
    }
}

}  // namespace tvfx
