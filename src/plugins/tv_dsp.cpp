#include "plugins/tv_dsp.h"

const char* const clTvDSP::ExportNames[ExportCount] = {TV_DSP_EXPORTS};

clTvDSP::clTvDSP() { Load(nullptr); }

clTvDSP::~clTvDSP() {
    Destroy();
    FreeModule();
}

bool clTvDSP::Load(const char16_t* path) { return LoadTable(path, ExportNames, exports); }

void clTvDSP::Unload() {
    Destroy();
    FreeModule();
    Load(nullptr);
}

bool clTvDSP::LoadFile(const XString& path) {
    Unload();
    return Load(path.Text());
}

bool clTvDSP::Create(const PluginLogHandles* logs) {
    Destroy();
    if (exports.Create) instance = exports.Create(logs);
    return instance != 0;
}

void clTvDSP::Destroy() {
    if (instance && exports.Destroy) exports.Destroy(instance);  // its result means nothing
    instance = 0;
}

int32_t clTvDSP::Get(const char16_t* name, PluginArgs* args) {
    return instance && exports.Get ? exports.Get(instance, name, args) : 0;
}
int32_t clTvDSP::Set(const char16_t* name, PluginArgs* args) {
    return instance && exports.Set ? exports.Set(instance, name, args) : 0;
}
int32_t clTvDSP::ShowConfigBit(intptr_t parent, const char16_t* settings, void* context) {
    return instance && exports.ShowConfigBit ? exports.ShowConfigBit(instance, parent, settings, context) : 0;
}
int32_t clTvDSP::RemoveConfigBit(intptr_t panel) {
    return instance && exports.RemoveConfigBit ? exports.RemoveConfigBit(instance, panel) : 0;
}
int32_t clTvDSP::BeginConversion(ConversionRecord* conv, const char16_t* settings) {
    return instance && exports.BeginConversion ? exports.BeginConversion(instance, conv, settings) : 0;
}
int32_t clTvDSP::EndConversion(ConversionRecord* conv) {
    return instance && exports.EndConversion ? exports.EndConversion(instance, conv) : 0;
}
int32_t clTvDSP::PassAudioBlock(AudioBlockRecord* block) {
    return instance && exports.PassAudioBlock ? exports.PassAudioBlock(instance, block) : 0;
}
int32_t clTvDSP::PassNonLive(const char16_t* path, TvFormatAndLength* format, const char16_t* settings,
                             const char16_t* quitEvent) {
    return instance && exports.PassNonLive ? exports.PassNonLive(instance, path, format, settings, quitEvent) : 0;
}
int32_t clTvDSP::AfterConversion(ConversionRecord* conv) {
    return instance && exports.AfterConversion ? exports.AfterConversion(instance, conv) : 0;
}
