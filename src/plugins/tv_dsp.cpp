#include "plugins/tv_dsp.h"

const char* const clTvDSP::ExportNames[ExportCount] = {TV_DSP_EXPORTS};

clTvDSP::clTvDSP() { Load(nullptr); }

bool clTvDSP::Load(const char16_t* path) { return LoadTable(path, ExportNames, exports); }

void clTvDSP::Unload() { UnloadLibrary(); }

bool clTvDSP::LoadFile(const XString& path) {
    Unload();
    return Load(path.Text());
}

int32_t clTvDSP::ShowConfigBit(intptr_t parent, const char16_t* settings, void* context) {
    return Call(exports.ShowConfigBit, parent, settings, context);
}
int32_t clTvDSP::RemoveConfigBit(intptr_t panel) { return Call(exports.RemoveConfigBit, panel); }
int32_t clTvDSP::BeginConversion(ConversionRecord* conv, const char16_t* settings) {
    return Call(exports.BeginConversion, conv, settings);
}
int32_t clTvDSP::EndConversion(ConversionRecord* conv) { return Call(exports.EndConversion, conv); }
int32_t clTvDSP::PassAudioBlock(AudioBlockRecord* block) { return Call(exports.PassAudioBlock, block); }
int32_t clTvDSP::PassNonLive(const char16_t* path, TvFormatAndLength* format, const char16_t* settings,
                             const char16_t* quitEvent) {
    return Call(exports.PassNonLive, path, format, settings, quitEvent);
}
int32_t clTvDSP::AfterConversion(ConversionRecord* conv) { return Call(exports.AfterConversion, conv); }
