#pragma once
// Measures loudness and true peak on a thread of its own, so that the conversion's thread only
// copies each block: the measurement costs as much as a fast encoder, and a second core can
// carry it. That thread runs at idle priority, so that it takes only the time the conversion's
// own helpers (reading ahead, writing behind, the encoder's checksum) leave over; whenever the
// conversion's thread would wait for it, that thread measures the oldest blocks itself.
// The copies wait in a ring of memory bounded in bytes. When a non-live effect has the whole
// file rendered, the blocks come far faster than they are measured; the bound (128 MiB) holds
// eleven minutes of 48 kHz 16-bit stereo whole, so that the measurement of such a track goes
// on beside the encoder. Meanwhile the thread puts the ring's next pages in place, ahead of the
// copying. Where no thread can be made, the blocks are measured as they come.
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "block_ring.h"
#include "loudness_meter.h"
#include "pcm.h"

namespace tvfx {

class MeterThread {
public:
    // Bytes of raw PCM that may wait for the measurement; one block always may.
    static constexpr size_t DefaultQueueBytes = size_t{128} << 20;

    explicit MeterThread(size_t queueBytes = DefaultQueueBytes) : ring(queueBytes) {}
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
    // Waits until every block is measured and ends the thread, which gives the ring's memory
    // back. The meter may be read after it.
    void Finish() { Stop(true); }
    // Ends the thread at once, dropping what still waits: for a run whose figures nobody reads.
    void Abandon() { Stop(false); }
    const LoudnessMeter& Meter() const { return meter; }

private:
    // How far past the newest block the thread puts the ring's pages in place.
    static constexpr size_t PopulateAhead = size_t{16} << 20;

    void Run();
    void Stop(bool measureRest);
    void Measure(const uint8_t* data, size_t bytes);
    // Measures the oldest waiting block, on whichever thread calls; false when none waits.
    bool MeasureNext();

    // Puts in place, outside the lock, pages of the ring below offset end; false when none wait.
    bool Populate(std::unique_lock<std::mutex>& hold, size_t end);

    Layout shape;
    LoudnessMeter meter;
    bool started = false;
    std::thread worker;
    std::mutex lock;
    std::condition_variable changed;
    std::mutex measuring;  // held while a block is measured: one at a time, in order
    BlockRing ring;
    bool ending = false, dropping = false, lastAdded = false;
};

}  // namespace tvfx
