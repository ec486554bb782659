// Loopback throughput of PP::netStream beside a plain blocking socket copy in the same run, and
// how soon a blocked read, a connect that is never answered, a hanging name look-up and a sleep
// end after their aborter fires.
// Run: bench_net --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "foundation/platform/sockets.h"
#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/net/address.h"
#include "pp/net/net_stream.h"
#include "pp/wait.h"
#include "pp/waitable.h"

namespace {

constexpr size_t transferBytes = 64u << 20;
constexpr size_t chunkBytes = 64u << 10;

// A connected pair over 127.0.0.1: the sender side stays blocking, the other is returned raw.
struct socketPair {
    XSocket sender = XInvalidSocket;
    XSocket receiver = XInvalidSocket;
    socketPair() {
        PP::addressRecord a = PP::numericAddress("127.0.0.1", 0);
        XSocket l = XSocketOpen(a.family, XWsa::Stream, XWsa::ProtoTcp);
        XSocketBind(l, a.raw.data(), a.raw.size());
        XSocketListen(l, 1);
        std::vector<uint8_t> raw;
        XSocketLocalAddress(l, raw);
        receiver = XSocketOpen(a.family, XWsa::Stream, XWsa::ProtoTcp);
        XSocketConnect(receiver, raw.data(), raw.size());
        sender = XSocketAccept(l, nullptr);
        XSocketClose(l);
    }
    ~socketPair() {
        if (sender != XInvalidSocket) XSocketClose(sender);
        if (receiver != XInvalidSocket) XSocketClose(receiver);
    }
};

// Sends transferBytes by blocking sends from one buffer.
std::thread startSender(XSocket s) {
    return std::thread([s] {
        std::vector<uint8_t> data(chunkBytes, 0x5A);
        size_t left = transferBytes;
        while (left > 0) {
            int64_t n = XSocketSend(s, data.data(), std::min(left, data.size()));
            if (n <= 0) return;
            left -= size_t(n);
        }
    });
}

void PlainBlockingReceive(benchmark::State& state) {
    std::vector<uint8_t> buf(chunkBytes);
    for (auto _ : state) {
        socketPair p;
        std::thread sender = startSender(p.sender);
        size_t got = 0;
        while (got < transferBytes) {
            int64_t n = XSocketRecv(p.receiver, buf.data(), buf.size());
            if (n <= 0) break;
            got += size_t(n);
        }
        sender.join();
        benchmark::DoNotOptimize(got);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(transferBytes));
}

void NetStreamReceive(benchmark::State& state) {
    std::vector<uint8_t> buf(chunkBytes);
    PP::aborter a;  // the ordinary case: a thread with an aborter in place
    PP::abortScope scope(a);
    for (auto _ : state) {
        socketPair p;
        std::thread sender = startSender(p.sender);
        PP::netStream s(p.receiver);
        p.receiver = XInvalidSocket;
        s.setTimeout(30.0);
        size_t got = 0;
        while (got < transferBytes) {
            size_t n = s.read(buf.data(), buf.size());
            if (n == 0) break;
            got += n;
        }
        sender.join();
        benchmark::DoNotOptimize(got);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(transferBytes));
}

// Runs `blocked` on a thread under an aborter `tries` times, fires the aborter once the call
// is under way, and reports the median and maximum time from the firing to user_abort.
void measureAbort(benchmark::State& state, int tries, const std::function<void()>& blocked) {
    std::vector<double> micros;
    for (auto _ : state) {
        micros.clear();
        for (int i = 0; i < tries; ++i) {
            PP::aborter a;
            std::atomic<bool> started{false};
            std::chrono::steady_clock::time_point ended;
            std::thread worker([&] {
                PP::abortScope scope(a);
                started = true;
                try {
                    blocked();
                } catch (const PP::user_abort&) {
                    ended = std::chrono::steady_clock::now();
                }
            });
            while (!started) std::this_thread::yield();
            std::this_thread::sleep_for(std::chrono::milliseconds(5));  // let it reach the wait
            auto fired = std::chrono::steady_clock::now();
            a.abort();
            worker.join();
            micros.push_back(std::chrono::duration<double, std::micro>(ended - fired).count());
        }
    }
    std::sort(micros.begin(), micros.end());
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["max_us"] = micros.back();
}

void AbortLatencyOfBlockedRead(benchmark::State& state) {
    socketPair p;
    PP::netStream s(p.receiver);
    p.receiver = XInvalidSocket;
    measureAbort(state, 100, [&] {
        char c;
        s.read(&c, 1);
    });
}

// A listener whose accept queue is full drops new connection requests: a connect to it hangs
// like one to an address that never answers.
void AbortLatencyOfConnect(benchmark::State& state) {
    PP::addressRecord a = PP::numericAddress("127.0.0.1", 0);
    XSocket l = XSocketOpen(a.family, XWsa::Stream, XWsa::ProtoTcp);
    XSocketBind(l, a.raw.data(), a.raw.size());
    XSocketListen(l, 0);
    std::vector<uint8_t> raw;
    XSocketLocalAddress(l, raw);
    uint16_t port = 0;
    XAddressNumeric(raw.data(), raw.size(), nullptr, nullptr, &port);
    std::vector<XSocket> fillers;
    for (int i = 0; i < 4; ++i) {
        XSocket f = XSocketOpen(a.family, XWsa::Stream, XWsa::ProtoTcp);
        XSocketSetNonBlocking(f, true);
        XSocketConnect(f, raw.data(), raw.size());
        fillers.push_back(f);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    measureAbort(state, 20, [&] {
        PP::netStream s;
        s.connect("127.0.0.1", std::to_string(port), 0);
    });
    for (XSocket f : fillers) XSocketClose(f);
    XSocketClose(l);
}

std::atomic<bool> g_releaseLookups{false};
uint32_t hangingLookup(const char*, const char*, int, int, int, int, std::vector<XResolvedAddress>&) {
    for (int i = 0; i < 3000 && !g_releaseLookups; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return XWsa::HostNotFound;
}

void AbortLatencyOfNameLookUp(benchmark::State& state) {
    g_releaseLookups = false;
    PP::setNameLookup(&hangingLookup);
    measureAbort(state, 20, [] {
        PP::addressList list;
        PP::resolveAddress(list, "hanging.test", "80", 0, 0, XWsa::Stream, XWsa::ProtoTcp);
    });
    g_releaseLookups = true;
    PP::setNameLookup(nullptr);
}

void AbortLatencyOfSleep(benchmark::State& state) {
    measureAbort(state, 100, [] { PP::sleepSeconds(60); });
}

}  // namespace

BENCHMARK(PlainBlockingReceive)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(NetStreamReceive)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(AbortLatencyOfBlockedRead)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(AbortLatencyOfConnect)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(AbortLatencyOfNameLookUp)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(AbortLatencyOfSleep)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_MAIN();
