// Loopback throughput of PP::netStream beside a plain blocking socket copy in the same run, and
// how soon a blocked netStream read ends after its aborter fires.
// Run: bench_net --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "foundation/platform/sockets.h"
#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/net/net_stream.h"
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

// 100 blocked reads, each ended by its aborter; median and maximum latency in microseconds.
void AbortLatencyOfBlockedRead(benchmark::State& state) {
  constexpr int tries = 100;
  std::vector<double> micros;
  for (auto _ : state) {
    micros.clear();
    socketPair p;
    PP::netStream s(p.receiver);
    p.receiver = XInvalidSocket;
    for (int i = 0; i < tries; ++i) {
      PP::aborter a;
      std::atomic<bool> blocked{false};
      std::chrono::steady_clock::time_point ended;
      std::thread reader([&] {
        PP::abortScope scope(a);
        char c;
        blocked = true;
        try {
          s.read(&c, 1);
        } catch (const PP::user_abort&) {
          ended = std::chrono::steady_clock::now();
        }
      });
      while (!blocked) std::this_thread::yield();
      std::this_thread::sleep_for(std::chrono::milliseconds(2));  // let it reach the wait
      auto fired = std::chrono::steady_clock::now();
      a.abort();
      reader.join();
      micros.push_back(std::chrono::duration<double, std::micro>(ended - fired).count());
    }
  }
  std::sort(micros.begin(), micros.end());
  state.counters["median_us"] = micros[micros.size() / 2];
  state.counters["max_us"] = micros.back();
}

}  // namespace

BENCHMARK(PlainBlockingReceive)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(NetStreamReceive)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(AbortLatencyOfBlockedRead)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_MAIN();
