#include "plugins/tv_encoder.h"

const char* const clTvEncoder::ExportNames[ExportCount] = {TV_ENCODER_EXPORTS};

clTvEncoder::clTvEncoder() { Load(nullptr); }

bool clTvEncoder::Load(const char16_t* path) { return LoadTable(path, ExportNames, exports); }

void clTvEncoder::Unload() { UnloadLibrary(); }

bool clTvEncoder::LoadFile(const XString& path) {
    Unload();
    return Load(path.Text());
}

int32_t clTvEncoder::ShowConfigBit(intptr_t parent, const char16_t* settings, void* context) {
    return Call(exports.ShowConfigBit, parent, settings, context);
}
int32_t clTvEncoder::RemoveConfigBit(intptr_t panel) { return Call(exports.RemoveConfigBit, panel); }
int32_t clTvEncoder::BeginConversion(ConversionRecord* conv) { return Call(exports.BeginConversion, conv); }
int32_t clTvEncoder::EndConversion(ConversionRecord* conv, uint32_t* writeTags) {
    return Call(exports.EndConversion, conv, writeTags);
}
int32_t clTvEncoder::EncodeBlock(AudioBlockRecord* block) { return Call(exports.EncodeBlock, block); }
