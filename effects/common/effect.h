#pragma once
// The frame of a bundled effect: the settings are read on every entry that carries them, a bad
// one is an error line on the first ("IsLive", asked before the source is opened), and the
// later entries refuse to run. Blocks of any PCM layout come in as double and go out again in
// a buffer of the effect's own.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "pcm.h"
#include "settings.h"
#include "tvkit/plugin_base.h"

namespace tvfx {

class Dither;

class Effect : public tvkit::DspBase {
public:
    Effect(const PluginLogHandles* logs, std::u16string_view effectName) : DspBase(logs), name(effectName) {}

    int32_t GetProperty(std::u16string_view property, PluginArgs& args) override;
    int32_t BeginConversion(ConversionRecord& conv, std::u16string_view settings) override;

    const std::u16string& Name() const { return name; }

protected:
    // Reads the settings into members; problems go to s.
    virtual void Read(Settings& s) = 0;
    virtual std::vector<std::u16string_view> SettingNames() const = 0;
    // Whether these (good) settings make a live effect.
    virtual bool Live() const { return true; }
    // Called once the settings are good.
    virtual bool Begin(ConversionRecord& conv) {
        (void)conv;
        return true;
    }

    // Reads settings; false when one was bad. report: write the error lines to the error log
    // (only the first entry of a run does; later ones only trace them).
    bool Configure(std::u16string_view settings, bool report);

    // Reads the block's layout into inLayout and its frame count into frames. False with an
    // error line for a layout no effect handles. An empty block without a format keeps the
    // layout of the blocks before it (inLayout.rate stays 0 when there were none).
    bool ReadBlock(const AudioBlockRecord& block, const char* function);
    // ReadBlock, and the block's samples as double (interleaved) in samples.
    bool Unpack(const AudioBlockRecord& block, const char* function);
    // Writes samples (frames of layout) into the effect's buffer and points the block at it.
    void Pack(AudioBlockRecord& block, const double* data, size_t frames, const Layout& layout, uint32_t mask,
              Dither* dither = nullptr);
    // The effect's own buffer of at least bytes, for an effect that writes PCM itself, and
    // pointing the block at its first bytes, as audio of layout.
    uint8_t* OutBuffer(size_t bytes);
    void Emit(AudioBlockRecord& block, size_t bytes, const Layout& layout, uint32_t mask);

    Layout inLayout;
    std::vector<double> samples;  // of the last Unpack
    size_t frames = 0;

private:
    std::u16string name;
    std::vector<uint8_t> out;
};

}  // namespace tvfx
