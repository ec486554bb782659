#pragma once
// Measures loudness and true peak on a thread of its own, so that the conversion's thread only
// copies each block: the measurement costs as much as a fast encoder, and a second core can
// carry it. That thread runs at idle priority, so that it takes only the time the conversion's
// own helpers (reading ahead, writing behind, the encoder's checksum) leave over; whenever the
// conversion's thread would wait for it, that thread measures the oldest blocks itself.
// The copies wait in a queue bounded in bytes. When a non-live effect has the whole file
// rendered, the blocks come far faster than they are measured; the bound (128 MiB) holds
// eleven minutes of 48 kHz 16-bit stereo whole, so that the measurement of such a track goes
// on beside the encoder. Where no thread can be made, the blocks are measured as they come.
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "loudness_meter.h"
#include "pcm.h"
#include "populated_allocator.h"

namespace tvfx {

class MeterThread {
public:
    // Bytes of raw PCM that may wait for the measurement; one block always may.
    static constexpr size_t DefaultQueueBytes = size_t{128} << 20;

    explicit MeterThread(size_t queueBytes = DefaultQueueBytes) : limit(queueBytes) {}
    ~MeterThread() { Abandon(); }
    MeterThread(const MeterThread&) = delete;
    MeterThread& operator=(const MeterThread&) = delete;

    // False when libebur128 refuses the shape.
    bool Start(const Layout& layout);
    bool Started() const { return started; }
    const Layout& Shape() const { return shape; }
    // Raw samples of the started layout.
    void Add(const uint8_t* data, size_t frames);
    // The block being added now, or none, is the last: once it is measured, the thread gives
    // the queue's memory back and ends, beside the rest of the conversion and not at its end.
    void NoMoreBlocks();
    // Waits until every block is measured and ends the thread. The meter may be read after it.
    void Finish() { Stop(true); }
    // Ends the thread at once, dropping what still waits: for a run whose figures nobody reads.
    void Abandon() { Stop(false); }
    const LoudnessMeter& Meter() const { return meter; }

private:
    void Run();
    void Stop(bool measureRest);
    void Measure(const uint8_t* data, size_t bytes);
    // Measures the oldest waiting block, on whichever thread calls; false when none waits.
    bool MeasureNext();

    size_t limit;
    Layout shape;
    LoudnessMeter meter;
    bool started = false;
    std::thread worker;
    std::mutex lock;
    std::condition_variable changed;
    std::mutex measuring;  // held while a block is measured: one at a time, in order
    using Chunk = std::vector<uint8_t, PopulatedAllocator<uint8_t>>;
    std::deque<Chunk> waiting;
    size_t waitingBytes = 0;
    // Measured chunks, kept for reuse: given back to the system one by one while the other
    // threads run, each would cost every core a flush of its address translations.
    std::vector<Chunk> spare;
    bool ending = false, dropping = false, lastAdded = false;
};

}  // namespace tvfx
