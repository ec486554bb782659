#pragma once
// Measures loudness on a thread of its own, so that the conversion's thread only copies each
// block: the true-peak measurement oversamples and costs more than a fast encoder. At most a
// few blocks wait; a faster producer waits for the measurement to catch up.
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "loudness_meter.h"
#include "pcm.h"

namespace tvfx {

class MeterThread {
public:
    MeterThread() = default;
    ~MeterThread() { Finish(); }
    MeterThread(const MeterThread&) = delete;
    MeterThread& operator=(const MeterThread&) = delete;

    // False when libebur128 refuses the shape.
    bool Start(const Layout& layout);
    bool Started() const { return worker.joinable() || finished; }
    const Layout& Shape() const { return shape; }
    // Raw samples of the started layout.
    void Add(const uint8_t* data, size_t frames);
    // Waits for every block to be measured. The meter may be read after it.
    void Finish();
    const LoudnessMeter& Meter() const { return meter; }

private:
    void Run();

    static constexpr size_t MaxWaiting = 8;
    Layout shape;
    LoudnessMeter meter;
    std::thread worker;
    std::mutex lock;
    std::condition_variable changed;
    std::deque<std::vector<uint8_t>> waiting;
    std::vector<std::vector<uint8_t>> spare;
    bool ending = false, finished = false;
};

}  // namespace tvfx
