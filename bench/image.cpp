// Picture identification: time per call from memory for each format, and how many bytes a
// 20 MB file of each format costs (only the header should be read).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "image/image_info.h"
#include "pp/file.h"
#include "pp/stream.h"

namespace {

struct formatSample {
    const char* label;
    const char* file;
};

const formatSample kSamples[] = {
    {"JPEG", "rgb_17x9.jpg"},      {"PNG", "pal_alpha_3x2.png"},      {"GIF", "plain_17x9.gif"},
    {"BMP", "rgb_3x2.bmp"},        {"WebP", "lossy_alpha_17x9.webp"}, {"TIFF", "rgba_be_3x2.tif"},
    {"ICO", "multi.ico"},          {"AVIF", "rgb_17x9.avif"},         {"HEIC", "rgb_17x9.heic"},
    {"JPEG_XL", "boxed_17x9.jxl"},
};

constexpr uint64_t kLargeFileBytes = 20u * 1024 * 1024;

std::vector<uint8_t> readSample(const char* name) {
    std::ifstream in(std::string(TV_SOURCE_DIR) + "/tests/data/images/" + name, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Passes everything to a file and counts the bytes that reads deliver. skip is left to the
// base class, which reads, so skipped bytes are counted too.
class countingFile : public PP::fileIn {
public:
    explicit countingFile(PP::fileIn& inner) : inner(inner) {}
    size_t read(void* buffer, size_t length) override {
        const size_t got = inner.read(buffer, length);
        bytesRead += got;
        return got;
    }
    bool isSeekable() override { return inner.isSeekable(); }
    void seek(uint64_t position) override { inner.seek(position); }
    uint64_t tell() override { return inner.tell(); }
    uint64_t size() override { return inner.size(); }

    uint64_t bytesRead = 0;

private:
    PP::fileIn& inner;
};

void identifyFromMemory(benchmark::State& state, const char* file) {
    const std::vector<uint8_t> data = readSample(file);
    for (auto _ : state) {
        imageFileInfo info = identifyImageMemory(data.data(), data.size());
        benchmark::DoNotOptimize(info);
        if (info.width == 0) state.SkipWithError("not identified");
    }
}

// The sample, padded with zeros to 20 MB, as a file on disk.
std::string makeLargeFile(const char* file) {
    const std::filesystem::path path = std::filesystem::temp_directory_path() / (std::string("tv_bench_image_") + file);
    std::vector<uint8_t> data = readSample(file);
    data.resize(kLargeFileBytes, 0);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(data.data()), std::streamsize(data.size()));
    return path.string();
}

void bytesReadFromLargeFile(benchmark::State& state, const char* file) {
    const std::string path = makeLargeFile(file);
    uint64_t bytesRead = 0;
    for (auto _ : state) {
        const PP::fileInPtr opened = PP::openFile(path);
        countingFile counted(*opened);
        imageHeaderInfo info = identifyImageStream(counted);
        benchmark::DoNotOptimize(info);
        bytesRead = counted.bytesRead;
    }
    state.counters["bytes_read"] = double(bytesRead);
    std::filesystem::remove(path);
}

int registerAll() {
    for (const formatSample& s : kSamples) {
        benchmark::RegisterBenchmark((std::string("IdentifyMemory/") + s.label).c_str(), identifyFromMemory, s.file)
            ->Repetitions(5)
            ->ReportAggregatesOnly(true);
    }
    for (const formatSample& s : kSamples) {
        benchmark::RegisterBenchmark((std::string("BytesRead20MB/") + s.label).c_str(), bytesReadFromLargeFile, s.file)
            ->Iterations(20);
    }
    return 0;
}

[[maybe_unused]] const int registered = registerAll();

}  // namespace

BENCHMARK_MAIN();
