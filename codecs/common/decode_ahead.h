#pragma once
// Decoding ahead of the host: a second thread decodes the next blocks while the host's thread
// encodes the ones before, so that a conversion from a format that is costly to decode takes
// about the longer of the two times instead of their sum. The host's thread only takes finished
// blocks. A block carries its own end and failure, so the host meets them, and logs them, at the
// same point as it would without the thread.
//
// Block needs Reset() (empty, not last) and a bool member last; the producer fills one block per
// call and sets last on the stream's end or failure, after which it isn't called again.
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace codecrec {

template <class Block>
class DecodeAhead {
public:
    using Producer = std::function<void(Block&)>;

    DecodeAhead() = default;
    ~DecodeAhead() { Stop(); }
    DecodeAhead(const DecodeAhead&) = delete;
    DecodeAhead& operator=(const DecodeAhead&) = delete;

    // False when no thread can be had: the caller then decodes on its own thread.
    bool Start(Producer producer) {
        Stop();
        produce = std::move(producer);
        stopping = false;
        done = false;
        try {
            worker = std::thread([this] { Run(); });
        } catch (const std::system_error&) {
            return false;  // no thread left in this process: decoding goes on inline
        }
        return true;
    }

    bool Running() const { return worker.joinable(); }

    // The next block, waiting for it; it stays valid until the next call or Stop. After the
    // last block every call gives an empty last block.
    Block& Next() {
        std::unique_lock<std::mutex> hold(lock);
        spare.push_back(std::move(taken));
        if (done) {
            taken = std::move(spare.back());
            spare.pop_back();
            taken.Reset();
            taken.last = true;
            return taken;
        }
        changed.wait(hold, [this] { return !ready.empty(); });
        taken = std::move(ready.front());
        ready.pop_front();
        done = taken.last;
        hold.unlock();
        changed.notify_all();
        return taken;
    }

    // Ends the thread, whatever it was doing; blocks not taken are dropped.
    void Stop() {
        {
            std::lock_guard<std::mutex> hold(lock);
            stopping = true;
        }
        changed.notify_all();
        if (worker.joinable()) worker.join();
        ready.clear();
    }

private:
    // A few blocks are enough to ride out the uneven pace of either side.
    static constexpr size_t MaxReady = 4;

    void Run() {
        for (;;) {
            Block block;
            {
                std::unique_lock<std::mutex> hold(lock);
                changed.wait(hold, [this] { return stopping || ready.size() < MaxReady; });
                if (stopping) return;
                if (!spare.empty()) {
                    block = std::move(spare.back());
                    spare.pop_back();
                }
            }
            block.Reset();
            produce(block);
            const bool last = block.last;
            {
                std::lock_guard<std::mutex> hold(lock);
                ready.push_back(std::move(block));
            }
            changed.notify_all();
            if (last) return;
        }
    }

    Producer produce;
    std::thread worker;
    std::mutex lock;
    std::condition_variable changed;
    std::deque<Block> ready;
    std::vector<Block> spare;  // blocks given back, reused for their buffers
    Block taken;               // the one the host holds
    bool stopping = false, done = false;
};

}  // namespace codecrec
