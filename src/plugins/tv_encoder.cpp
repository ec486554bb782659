#include "plugins/tv_encoder.h"

const char* const clTvEncoder::ExportNames[ExportCount] = {TV_ENCODER_EXPORTS};

clTvEncoder::clTvEncoder() { Load(nullptr); }

clTvEncoder::~clTvEncoder() {
    Destroy();
    FreeModule();
}

bool clTvEncoder::Load(const char16_t* path) { return LoadTable(path, ExportNames, exports); }

void clTvEncoder::Unload() {
    Destroy();
    FreeModule();
    Load(nullptr);
}

bool clTvEncoder::LoadFile(const XString& path) {
    Unload();
    return Load(path.Text());
}

bool clTvEncoder::Create(const PluginLogHandles* logs) {
    Destroy();
    if (exports.Create) instance = exports.Create(logs);
    return instance != 0;
}

void clTvEncoder::Destroy() {
    if (instance && exports.Destroy) exports.Destroy(instance);  // its result means nothing
    instance = 0;
}

int32_t clTvEncoder::Get(const char16_t* name, PluginArgs* args) {
    return instance && exports.Get ? exports.Get(instance, name, args) : 0;
}
int32_t clTvEncoder::Set(const char16_t* name, PluginArgs* args) {
    return instance && exports.Set ? exports.Set(instance, name, args) : 0;
}
int32_t clTvEncoder::ShowConfigBit(intptr_t parent, const char16_t* settings, void* context) {
    return instance && exports.ShowConfigBit ? exports.ShowConfigBit(instance, parent, settings, context) : 0;
}
int32_t clTvEncoder::RemoveConfigBit(intptr_t panel) {
    return instance && exports.RemoveConfigBit ? exports.RemoveConfigBit(instance, panel) : 0;
}
int32_t clTvEncoder::BeginConversion(ConversionRecord* conv) {
    return instance && exports.BeginConversion ? exports.BeginConversion(instance, conv) : 0;
}
int32_t clTvEncoder::EndConversion(ConversionRecord* conv, uint32_t* writeTags) {
    return instance && exports.EndConversion ? exports.EndConversion(instance, conv, writeTags) : 0;
}
int32_t clTvEncoder::EncodeBlock(AudioBlockRecord* block) {
    return instance && exports.EncodeBlock ? exports.EncodeBlock(instance, block) : 0;
}
