#pragma once
// Helpers of the effect tests: a fresh folder with travex runs in it, the effects through the
// host's DSP wrapper, PCM blocks of any layout, and the outside judges (sox, loudgain).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "codecs/codec_test_util.h"
#include "foundation/text/xstring.h"
#include "plugins/tv_dsp.h"

namespace fxtest {

using codectest::Bytes;
using codectest::LogFile;
using codectest::ReadFile;
using codectest::RunCommand;
namespace fs = std::filesystem;

inline XString EffectPath(const std::string& name) {
    return XString((std::string(TV_BIN_DIR) + "/DSPs/" + name + ".so").c_str(), true);
}

// An effect loaded through the host's wrapper, with its error lines in a file.
struct Effect {
    explicit Effect(const std::string& name) {
        EXPECT_TRUE(dsp.LoadFile(EffectPath(name))) << name;
        logs.ErrorLog = errors.Handle();
        EXPECT_TRUE(dsp.Create(&logs)) << name;
    }
    int32_t IsLive(const char16_t* settings) {
        PluginArgs args{};
        args.Text = settings;
        return dsp.Get(u"IsLive", &args);
    }
    LogFile errors;
    PluginLogHandles logs{0, 0, 0};
    clTvDSP dsp;
};

// A format record of integer PCM (8..32 bits) or 32-bit float.
inline TvWaveFormatExtensible Format(unsigned bits, unsigned channels, unsigned rate, bool isFloat = false) {
    TvWaveFormatExtensible f{};
    f.Format.nChannels = uint16_t(channels);
    f.Format.nSamplesPerSec = rate;
    f.Format.wBitsPerSample = uint16_t(bits);
    f.Format.nBlockAlign = uint16_t(bits / 8 * channels);
    f.Format.nAvgBytesPerSec = f.Format.nBlockAlign * rate;
    if (channels <= 2 && bits <= 16 && !isFloat) {
        f.Format.wFormatTag = TV_WAVE_FORMAT_PCM;
    } else {
        f.Format.wFormatTag = TV_WAVE_FORMAT_EXTENSIBLE;
        f.Format.cbSize = TV_WAVE_EXTENSIBLE_EXTRA;
        f.wValidBitsPerSample = uint16_t(bits);
        f.SubFormat = TvWaveSubFormat(isFloat ? TV_WAVE_FORMAT_IEEE_FLOAT : TV_WAVE_FORMAT_PCM);
    }
    return f;
}

// Little-endian integer samples of a given width, from values in steps of that width.
inline Bytes Pack(const std::vector<int64_t>& values, unsigned bits) {
    Bytes out;
    for (int64_t v : values) {
        if (bits == 8) v += 128;
        for (unsigned k = 0; k < bits / 8; ++k) out.push_back(uint8_t(uint64_t(v) >> (8 * k)));
    }
    return out;
}
inline std::vector<int64_t> Unpack(const void* data, size_t size, unsigned bits) {
    std::vector<int64_t> out;
    const auto* p = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i + bits / 8 <= size; i += bits / 8) {
        uint64_t v = 0;
        for (unsigned k = 0; k < bits / 8; ++k) v |= uint64_t(p[i + k]) << (8 * k);
        int64_t s = bits == 8 ? int64_t(v) - 128 : int64_t(v << (64 - bits)) >> (64 - bits);
        out.push_back(s);
    }
    return out;
}

// A folder of its own for each test, with travex run in it.
class Folder : public ::testing::Test {
protected:
    void SetUp() override {
        std::random_device rd;
        dir = fs::temp_directory_path() / ("effects-" + std::to_string(rd()));
        fs::create_directories(dir);
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(dir, ec);  // best effort: a left-over temporary folder harms nothing
    }
    std::string Path(const std::string& name) const { return (dir / name).string(); }

    // A shell command in the folder; its standard output.
    std::string Shell(const std::string& command) { return RunCommand("cd '" + dir.string() + "' && " + command); }

    // travex in the folder with a settings store of its own; its exit status, and its
    // standard error (UTF-16) as ASCII in err.
    int Travex(const std::string& args, std::string* err = nullptr) {
        const std::string cmd = "cd '" + dir.string() + "' && export TONVALE_CONFIG_HOME=\"$PWD\" HOME=\"$PWD\" " +
                                "XDG_RUNTIME_DIR=\"$PWD\" TMPDIR=\"$PWD\" TONVALE_DEBUG= && '" + TV_BIN_DIR +
                                "/travex' " + args + " -silent >out.bin 2>err.bin </dev/null; echo $? >rc.txt";
        EXPECT_EQ(0, std::system(cmd.c_str()));
        if (err) {
            err->clear();
            for (uint8_t c : ReadFile(Path("err.bin")))
                if (c >= 0x20 && c < 0x7F) *err += char(c);
        }
        return std::stoi(std::string(reinterpret_cast<const char*>(ReadFile(Path("rc.txt")).data()), 1));
    }

    // A figure of sox's "stats" for a file: "Pk lev dB", "RMS lev dB", ... (first column).
    double SoxStat(const std::string& file, const std::string& name, const std::string& effects = "") {
        const std::string out = Shell("sox '" + file + "' -n " + effects + " stats 2>&1");
        const size_t at = out.find(name);
        if (at == std::string::npos) {
            ADD_FAILURE() << "no " << name << " in: " << out;
            return NAN;
        }
        return std::stod(out.substr(at + name.size()));
    }

    struct LoudgainRow {
        double loudness = NAN, peak = NAN, gain = NAN;
    };
    // loudgain's figures of each file and, with album, of the album (last row).
    std::vector<LoudgainRow> Loudgain(const std::string& files, bool album) {
        const std::string out = Shell(std::string("loudgain -q -O ") + (album ? "-a " : "") + files + " 2>/dev/null");
        std::vector<LoudgainRow> rows;
        std::istringstream in(out);
        std::string line;
        std::getline(in, line);  // the header
        while (std::getline(in, line)) {
            std::vector<std::string> cells;
            std::istringstream cut(line);
            std::string cell;
            while (std::getline(cut, cell, '\t')) cells.push_back(cell);
            if (cells.size() < 9) continue;
            rows.push_back({std::stod(cells[1]), std::stod(cells[3]), std::stod(cells[8])});
        }
        return rows;
    }

    fs::path dir;
};

}  // namespace fxtest
