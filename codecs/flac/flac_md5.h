#pragma once
// The MD5 of the audio that STREAMINFO holds (each sample little-endian in as many bytes as its
// depth needs), worked out on a thread of its own: in libFLAC it is a tenth of the encoding
// thread's time, here it costs that thread one copy of each block. At most a few blocks wait;
// a faster producer waits for the hash to catch up.
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace flacmd5 {

class Md5Thread {
public:
    Md5Thread() = default;
    ~Md5Thread() { Stop(); }
    Md5Thread(const Md5Thread&) = delete;
    Md5Thread& operator=(const Md5Thread&) = delete;

    // depth: bits of a sample, 4 to 32. False when the thread can't be started.
    bool Start(unsigned depth);
    bool Running() const { return worker.joinable(); }
    void Add(const int32_t* samples, size_t count);
    // Waits for every block; the digest of all that was added.
    bool Finish(uint8_t digest[16]);
    // Ends the thread without a digest (a failed or restarted stream).
    void Stop();

private:
    void Run();

    void HandOver();

    static constexpr size_t MaxWaiting = 4;
    // Samples gathered before they are handed over: one hand-over per few hundred kilobytes
    // keeps the two threads from waking each other for every block.
    static constexpr size_t HandOverSamples = 128 * 1024;
    unsigned bytesPerSample = 2;
    std::thread worker;
    std::mutex lock;
    std::condition_variable changed;
    std::deque<std::vector<int32_t>> waiting;
    std::vector<std::vector<int32_t>> spare;
    std::vector<int32_t> filling;  // the producer's, not yet handed over
    bool ending = false;
    uint8_t result[16] = {};
};

}  // namespace flacmd5
