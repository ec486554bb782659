#include "flac_md5.h"

#include <nettle/md5.h>

#include <cstring>
#include <new>

#include <system_error>
#include "tvkit/os_process.h"

namespace flacmd5 {

namespace {

constexpr size_t kBlockSamples = 16 * 1024;

template <unsigned Width>
void Pack(const int32_t* in, size_t n, uint8_t* out) {
    for (size_t i = 0; i < n; ++i) {
        const auto v = static_cast<uint32_t>(in[i]);
        for (unsigned b = 0; b < Width; ++b) *out++ = static_cast<uint8_t>(v >> (8 * b));
    }
}

void PackSamples(const int32_t* in, size_t n, unsigned width, uint8_t* out) {
    switch (width) {
        case 1:
            return Pack<1>(in, n, out);
        case 2:
            return Pack<2>(in, n, out);
        case 3:
            return Pack<3>(in, n, out);
        default:
            return Pack<4>(in, n, out);
    }
}

// nettle is loaded when the first long stream needs it, not with the plug-in: most runs of a
// short file would pay for its loading (it asks the processor for its features) and use none.
struct Nettle {
    Nettle() {
        if (!library.Open(u"libnettle.so.8")) return;
        init = reinterpret_cast<decltype(init)>(library.Symbol("nettle_md5_init"));
        update = reinterpret_cast<decltype(update)>(library.Symbol("nettle_md5_update"));
        digest = reinterpret_cast<decltype(digest)>(library.Symbol("nettle_md5_digest"));
    }
    bool Usable() const { return init && update && digest; }

    tvkit::os::Library library;
    decltype(&nettle_md5_init) init = nullptr;
    decltype(&nettle_md5_update) update = nullptr;
    decltype(&nettle_md5_digest) digest = nullptr;
};

// Never destroyed, so nettle stays loaded: once the plug-in linked the tag kit, the record's
// destructor was still due at exit after the plug-in had been unloaded, and ran into unmapped
// code. Static storage rather than the heap, so an unloaded plug-in leaves no block behind.
const Nettle* LoadNettle() {
    alignas(Nettle) static unsigned char storage[sizeof(Nettle)];
    static const Nettle* const nettle = new (storage) Nettle;
    return nettle->Usable() ? nettle : nullptr;
}

}  // namespace

bool Md5Thread::Start(unsigned depth) {
    Stop();
    if (!LoadNettle()) return false;  // the caller lets libFLAC hash instead
    bytesPerSample = (depth + 7) / 8;
    ending = false;
    waiting.clear();
    filling.clear();
    try {
        worker = std::thread([this] { Run(); });
    } catch (const std::system_error&) {
        return false;  // the caller lets libFLAC hash instead
    }
    return true;
}

void Md5Thread::Add(const int32_t* samples, size_t count) {
    if (!worker.joinable() || count == 0) return;
    filling.insert(filling.end(), samples, samples + count);
    if (filling.size() >= HandOverSamples) HandOver();
}

void Md5Thread::HandOver() {
    if (filling.empty()) return;
    std::unique_lock<std::mutex> hold(lock);
    changed.wait(hold, [this] { return waiting.size() < MaxWaiting; });
    waiting.push_back(std::move(filling));
    filling.clear();
    if (!spare.empty()) {
        filling = std::move(spare.back());
        spare.pop_back();
        filling.clear();
    }
    changed.notify_all();
}

bool Md5Thread::Finish(uint8_t digest[16]) {
    if (!worker.joinable()) return false;
    HandOver();
    {
        std::lock_guard<std::mutex> hold(lock);
        ending = true;
    }
    changed.notify_all();
    worker.join();
    std::memcpy(digest, result, sizeof result);
    return true;
}

void Md5Thread::Stop() {
    if (!worker.joinable()) return;
    {
        std::lock_guard<std::mutex> hold(lock);
        ending = true;
        waiting.clear();
    }
    changed.notify_all();
    worker.join();
    filling.clear();
}

void Md5Thread::Run() {
    const Nettle& nettle = *LoadNettle();
    md5_ctx md5;
    nettle.init(&md5);
    std::vector<uint8_t> bytes;
    const unsigned width = bytesPerSample;
    for (;;) {
        std::vector<int32_t> chunk;
        {
            std::unique_lock<std::mutex> hold(lock);
            changed.wait(hold, [this] { return !waiting.empty() || ending; });
            if (waiting.empty()) break;
            chunk = std::move(waiting.front());
            waiting.pop_front();
        }
        changed.notify_all();
        for (size_t at = 0; at < chunk.size(); at += kBlockSamples) {
            const size_t n = chunk.size() - at < kBlockSamples ? chunk.size() - at : kBlockSamples;
            bytes.resize(n * width);
            PackSamples(chunk.data() + at, n, width, bytes.data());
            nettle.update(&md5, bytes.size(), bytes.data());
        }
        std::lock_guard<std::mutex> hold(lock);
        spare.push_back(std::move(chunk));
    }
    nettle.digest(&md5, sizeof result, result);
}

}  // namespace flacmd5
