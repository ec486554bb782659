#include "effect.h"

#include "dither.h"

namespace tvfx {

bool Effect::Configure(std::u16string_view text, bool report) {
    Settings s(name, text, SettingNames());
    if (s.Ok()) Read(s);
    for (const std::u16string& line : s.Errors()) {
        if (report) {
            Log().Error(line, "Effect::Settings");
        } else {
            Log().Debug(line);
        }
    }
    return s.Ok();
}

int32_t Effect::GetProperty(std::u16string_view property, PluginArgs& args) {
    if (property == u"IsLive") {
        // The first question of a run: settings that can't work are reported here, before the
        // source is opened.
        if (!Configure(tvkit::View16(args.Text), true)) return 1;
        return Live() ? 1 : 0;
    }
    return DspBase::GetProperty(property, args);
}

int32_t Effect::BeginConversion(ConversionRecord& conv, std::u16string_view settings) {
    if (!Configure(settings, false)) return 0;
    return Begin(conv) ? 1 : 0;
}

bool Effect::ReadBlock(const AudioBlockRecord& block, const char* function) {
    const bool empty = !block.Data || block.Size == 0;
    Layout given;
    if (ReadLayout(block.Format, given)) {
        inLayout = given;
    } else if (empty) {
        // The last block may come empty and without a format; before any audio there is no
        // layout to keep, and the effects let it pass.
        frames = 0;
        return true;
    } else {
        Log().Error(u"Error: " + name + u" can't work on " + Describe(block.Format) + u" audio.", function);
        return false;
    }
    frames = block.Data ? block.Size / inLayout.frameBytes : 0;
    return true;
}

bool Effect::Unpack(const AudioBlockRecord& block, const char* function) {
    if (!ReadBlock(block, function)) return false;
    const size_t count = frames * inLayout.channels;
    if (samples.size() < count) samples.resize(count);
    if (count) ToDouble(static_cast<const uint8_t*>(block.Data), count, inLayout, samples.data());
    return true;
}

uint8_t* Effect::OutBuffer(size_t bytes) {
    // One byte at least, so that an empty block still has a buffer to point at.
    if (out.size() < bytes + 1) out.resize(bytes + 1);
    return out.data();
}

void Effect::Emit(AudioBlockRecord& block, size_t bytes, const Layout& layout, uint32_t mask) {
    block.Format = MakeFormat(layout, mask);
    block.Data = out.data();
    block.Size = static_cast<uint32_t>(bytes);
    block.BitsPerSecond = block.Format.Format.nAvgBytesPerSec * 8;
}

void Effect::Pack(AudioBlockRecord& block, const double* data, size_t count, const Layout& layout, uint32_t mask,
                  Dither* dither) {
    const size_t bytes = count * layout.frameBytes;
    FromDouble(data, count * layout.channels, layout, OutBuffer(bytes), dither);
    Emit(block, bytes, layout, mask);
}

}  // namespace tvfx
