// A plug-in built against the previous release's header still loads: the built travex finds the
// library (as decoder, encoder and live DSP) in the user's plug-in folder and converts through it.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace fs = std::filesystem;

namespace {

std::string ReadBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

TEST(PreviousRelease, PluginOfAllThreeKindsConvertsThroughTheCurrentHost) {
    const fs::path dir = fs::temp_directory_path() / ("tv-prev-" + std::to_string(std::random_device{}()));
    const fs::path plugins = dir / "data/tonvale";
    for (const char* kind : {"decoder", "encoder", "DSPs"}) fs::create_directories(plugins / kind);
    fs::copy_file(TV_PREV_PLUGIN, plugins / "decoder/prev.so");
    fs::copy_file(TV_PREV_PLUGIN, plugins / "encoder/prev.so");
    fs::copy_file(TV_PREV_PLUGIN, plugins / "DSPs/prevneg.so");

    // Three blocks and a half of a ramp, so that the last block is short.
    std::string input;
    for (int i = 0; i < 3584; ++i) {
        const auto sample = static_cast<uint16_t>(i * 7 - 9000);
        input += static_cast<char>(sample & 0xFF);
        input += static_cast<char>(sample >> 8);
    }
    std::ofstream(dir / "in.prev", std::ios::binary) << input;

    const std::string command = "cd '" + dir.string() + "' && XDG_DATA_HOME='" + (dir / "data").string() +
                                "' TONVALE_CONFIG_HOME='" + dir.string() + "' '" + TV_BIN_DIR +
                                "/travex' -infile=in.prev -outfile=out.prev -convert_to=prev "
                                "-dspeffect1=prevneg= >out.txt 2>err.txt";
    const int status = std::system(command.c_str());
    EXPECT_EQ(0, status) << ReadBytes(dir / "err.txt");

    std::string expected = input;
    for (size_t i = 0; i + 1 < expected.size(); i += 2) {
        const auto sample =
            static_cast<uint16_t>(static_cast<uint8_t>(expected[i]) | static_cast<uint8_t>(expected[i + 1]) << 8);
        const auto negated = static_cast<uint16_t>(0u - sample);
        expected[i] = static_cast<char>(negated & 0xFF);
        expected[i + 1] = static_cast<char>(negated >> 8);
    }
    EXPECT_TRUE(ReadBytes(dir / "out.prev") == expected) << "the output is not the negated input";
    std::error_code ec;
    fs::remove_all(dir, ec);
}
