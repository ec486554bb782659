#pragma once
// Helpers of the codec tests: generated PCM and WAV files, whole-file decoding and encoding
// through the host's plug-in wrappers, and whole travex runs. Files, shell quoting and tool runs
// come from the shared harness in tests/support.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "foundation/text/xstring.h"
#include "plugins/tv_decoder.h"
#include "plugins/tv_encoder.h"
#include "support/bytes.h"
#include "support/run_tool.h"

namespace codectest {

using Bytes = std::vector<uint8_t>;

inline std::string TempDir() {
    const std::string dir = std::string(TV_TEST_PLUGIN_DIR) + "/codecs_flac";
    std::filesystem::create_directories(dir);
    return dir;
}
inline std::string TempPath(const std::string& name) { return TempDir() + "/" + name; }
inline XString Plugin(const char* rel) { return XString((std::string(TV_BIN_DIR) + "/" + rel).c_str(), true); }

inline void WriteFile(const std::string& path, const Bytes& b) {
    tvtest::WriteBytes(path, std::string_view(reinterpret_cast<const char*>(b.data()), b.size()));
}
inline Bytes ReadFile(const std::string& path) {
    const std::string bytes = tvtest::ReadBytes(path);
    return Bytes(bytes.begin(), bytes.end());
}

inline void Put16(Bytes& b, uint32_t v) { tvtest::PutLE16(b, v); }
inline void Put32(Bytes& b, uint32_t v) { tvtest::PutLE32(b, v); }

// Interleaved little-endian PCM: a tone per channel with a little noise, loud enough to use
// the whole depth, so that every bit of the samples is exercised. A depth (valid bits) below
// the container sits in the high bits.
inline Bytes Signal(unsigned bits, unsigned channels, unsigned rate, unsigned frames, unsigned valid = 0) {
    if (!valid) valid = bits;
    Bytes out;
    uint32_t noise = 12345;
    const double full = std::ldexp(1.0, int(valid) - 1) - 1;
    for (unsigned i = 0; i < frames; ++i) {
        for (unsigned c = 0; c < channels; ++c) {
            noise = noise * 1664525u + 1013904223u;
            const double tone = std::sin(2 * M_PI * (220.0 + 110.0 * c) * i / rate) * 0.8;
            const double jitter = (double(noise >> 8) / double(1 << 24) - 0.5) * 0.2;
            const auto v = static_cast<int64_t>(std::lround((tone + jitter) * full)) * (int64_t{1} << (bits - valid));
            for (unsigned k = 0; k < bits / 8; ++k) out.push_back(uint8_t(uint64_t(v) >> (8 * k)));
        }
    }
    return out;
}

// A WAV file of integer PCM: plain for 16 bit up to stereo, extensible otherwise.
inline Bytes Wave(const Bytes& data, unsigned bits, unsigned channels, unsigned rate, unsigned valid = 0) {
    if (!valid) valid = bits;
    const bool ext = channels > 2 || bits > 16 || valid != bits;
    Bytes fmt;
    const unsigned align = bits / 8 * channels;
    Put16(fmt, ext ? 0xFFFE : 1);
    Put16(fmt, channels);
    Put32(fmt, rate);
    Put32(fmt, rate * align);
    Put16(fmt, align);
    Put16(fmt, bits);
    if (ext) {
        Put16(fmt, 22);
        Put16(fmt, valid);
        Put32(fmt, 0);
        const uint8_t guid[16] = {1, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
        fmt.insert(fmt.end(), guid, guid + 16);
    }
    Bytes file = {'R', 'I', 'F', 'F'};
    Put32(file, uint32_t(4 + 8 + fmt.size() + 8 + data.size() + (data.size() & 1)));
    file.insert(file.end(), {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '});
    Put32(file, uint32_t(fmt.size()));
    file.insert(file.end(), fmt.begin(), fmt.end());
    file.insert(file.end(), {'d', 'a', 't', 'a'});
    Put32(file, uint32_t(data.size()));
    file.insert(file.end(), data.begin(), data.end());
    if (data.size() & 1) file.push_back(0);
    return file;
}

// An error pipe stand-in: a temporary file whose UTF-16 lines can be read back.
class LogFile {
public:
    LogFile() : file(std::tmpfile()) {}
    ~LogFile() { std::fclose(file); }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;
    TvOsHandle Handle() const { return fileno(file); }
    std::string Text() const {
        std::fflush(file);
        std::fseek(file, 0, SEEK_SET);
        std::string out;
        int lo, hi;
        while ((lo = std::fgetc(file)) != EOF && (hi = std::fgetc(file)) != EOF) out += char(lo | (hi << 8));
        return out;
    }

private:
    FILE* file;
};

struct Decoded {
    OpenFileRecord rec{};
    Bytes audio;
    std::vector<uint32_t> blockSizes;
    bool opened = false;
    bool failed = false;  // a DecodeBlock returned 0
};

// Opens path with the decoder plug-in and reads every block; dec stays loaded so that the
// record's tag blocks can still be read.
// decodeAs: the "Decode As" request made before Open, as the host makes it.
inline Decoded DecodeAll(clTvDecoder& dec, const char* plugin, const std::string& path, const PluginLogHandles& logs,
                         const char16_t* decodeAs = nullptr) {
    Decoded d;
    const XString wide(path.c_str(), true);
    if (!dec.LoadFile(Plugin(plugin), XString(u".x")) || !dec.Create(&logs)) return d;
    if (decodeAs) {
        PluginArgs args{};
        args.Text = decodeAs;
        dec.Set(u"Decode As", &args);
    }
    d.rec.Path = wide.Text();
    d.rec.RecordKind = TV_RECORD_KIND_PUMP;
    if (!dec.Open(&d.rec)) return d;
    d.opened = true;
    for (int guard = 0; guard < 100000; ++guard) {
        AudioBlockRecord block{};
        if (!dec.DecodeBlock(&block)) {
            d.failed = true;
            break;
        }
        if (block.Data) {
            d.audio.insert(d.audio.end(), static_cast<uint8_t*>(block.Data),
                           static_cast<uint8_t*>(block.Data) + block.Size);
            d.blockSizes.push_back(block.Size);
        }
        if (block.EndOfStream) break;
    }
    ConversionRecord conv{};
    dec.Close(&conv);
    return d;
}

// Encodes audio of format rec.Format to out with the encoder plug-in in pieces of 'piece'
// bytes; returns the flag of ENC_EndConversion, or -1 when a step failed.
inline int EncodeAll(const char* plugin, OpenFileRecord& rec, const Bytes& audio, const std::string& out,
                     const char16_t* commandLine, const PluginLogHandles& logs, size_t piece = 40000) {
    clTvEncoder enc;
    if (!enc.LoadFile(Plugin(plugin)) || !enc.Create(&logs)) return -1;
    const XString outWide(out.c_str(), true);
    ConversionRecord conv{};
    conv.OutputFile = outWide.Text();
    conv.CommandLine = commandLine;
    conv.Format = TvFormatOf(&rec);
    if (!enc.BeginConversion(&conv)) return -1;
    const size_t align = rec.Format.Format.nBlockAlign;
    piece -= piece % align;
    for (size_t at = 0; at < audio.size(); at += piece) {
        AudioBlockRecord block{};
        block.Format = rec.Format;
        block.Data = const_cast<uint8_t*>(audio.data()) + at;
        block.Size = uint32_t(std::min(audio.size() - at, piece));
        if (!enc.EncodeBlock(&block)) return -1;
    }
    uint32_t writeTags = 0;
    if (!enc.EndConversion(&conv, &writeTags)) return -1;
    return int(writeTags);
}

// A FLAC file of generated audio, made through the plug-ins.
inline std::string MakeFlac(const std::string& name, unsigned bits, unsigned channels, unsigned rate, unsigned frames,
                            Bytes* pcm = nullptr) {
    const PluginLogHandles none{0, 0, 0};
    const Bytes data = Signal(bits, channels, rate, frames);
    const std::string wav = TempPath(name + ".wav"), flac = TempPath(name + ".flac");
    WriteFile(wav, Wave(data, bits, channels, rate));
    clTvDecoder dec;
    Decoded src = DecodeAll(dec, "decoder/wave.so", wav, none);
    EXPECT_EQ(1, EncodeAll("encoder/flac.so", src.rec, src.audio, flac, u"", none));
    if (pcm) *pcm = data;
    return flac;
}

// Runs a command; its standard output, or "" when it failed.
inline std::string RunCommand(const std::string& command) {
    const tvtest::RunResult r = tvtest::Capture(command);
    return r.status == 0 ? r.out : std::string();
}

}  // namespace codectest

namespace codectest {

// One whole travex run in a private settings folder: its exit status and its standard error
// as text (the error lines, UTF-16 on a pipe, narrowed; one line each).
struct RunResult {
    int status = -1;
    std::string errors;
    std::string raw;  // standard error as it came: sanitizer reports are plain UTF-8
    bool SanitizerReport() const {
        return raw.find("runtime error:") != std::string::npos || raw.find("Sanitizer") != std::string::npos;
    }
    size_t ErrorLines() const {
        size_t n = 0;
        for (size_t at = errors.find('\n'); at != std::string::npos; at = errors.find('\n', at + 1)) ++n;
        return n;
    }
};

inline std::string Quote(const std::string& s) { return tvtest::ShellQuote(s); }

inline RunResult RunTravex(const std::string& args, const std::string& prefix = "") {
    static std::atomic<unsigned> counter{0};
    const std::string home = TempPath("travex_home");
    std::filesystem::create_directories(home);
    const std::string errFile = TempPath("travex_err_" + std::to_string(getpid()) + "_" + std::to_string(counter++));
    const std::string cmd = "export TONVALE_CONFIG_HOME=" + Quote(home) + " HOME=" + Quote(home) +
                            " XDG_RUNTIME_DIR=" + Quote(home) + " && " + prefix +
                            Quote(std::string(TV_BIN_DIR) + "/travex") + " " + args + " -silent >/dev/null 2>" +
                            Quote(errFile) + " </dev/null";
    RunResult r;
    const int raw = std::system(cmd.c_str());
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    r.raw = tvtest::ReadBytes(errFile);
    for (char c : tvtest::AsciiOfUtf16(r.raw))
        if (c != '\r') r.errors += c;
    std::filesystem::remove(errFile);
    return r;
}

}  // namespace codectest
