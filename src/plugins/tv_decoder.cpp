#include "plugins/tv_decoder.h"

const char* const clTvDecoder::ExportNames[ExportCount] = {TV_DECODER_EXPORTS};

clTvDecoder::clTvDecoder() { Load(nullptr); }

clTvDecoder::~clTvDecoder() {
    Destroy();
    FreeModule();
}

bool clTvDecoder::Load(const char16_t* path) { return LoadTable(path, ExportNames, exports); }

void clTvDecoder::Unload() {
    Destroy();
    FreeModule();
    Load(nullptr);
    Extension.Clear();
    Path.Clear();
}

bool clTvDecoder::LoadFile(const XString& path, const XString& extension) {
    Unload();
    if (!Load(path.Text())) return false;
    Extension = extension;
    Path = path;
    return true;
}

bool clTvDecoder::Create(const PluginLogHandles* logs) {
    Destroy();
    if (exports.Create) instance = exports.Create(logs);
    return instance != 0;
}

void clTvDecoder::Destroy() {
    if (instance && exports.Destroy) exports.Destroy(instance);  // its result means nothing
    instance = 0;
}

int32_t clTvDecoder::Get(const char16_t* name, PluginArgs* args) {
    return instance && exports.Get ? exports.Get(instance, name, args) : 0;
}
int32_t clTvDecoder::Set(const char16_t* name, PluginArgs* args) {
    return instance && exports.Set ? exports.Set(instance, name, args) : 0;
}
int32_t clTvDecoder::Open(OpenFileRecord* rec) { return instance && exports.Open ? exports.Open(instance, rec) : 0; }
int32_t clTvDecoder::Close(ConversionRecord* conv) {
    return instance && exports.Close ? exports.Close(instance, conv) : 0;
}
int32_t clTvDecoder::DecodeBlock(AudioBlockRecord* block) {
    return instance && exports.DecodeBlock ? exports.DecodeBlock(instance, block) : 0;
}
int32_t clTvDecoder::SetPosition(int64_t position) {
    return instance && exports.SetPosition ? exports.SetPosition(instance, position) : 0;
}
int32_t clTvDecoder::DeleteATag(const char16_t* path, const char16_t* name) {
    return instance && exports.DeleteATag ? exports.DeleteATag(instance, path, name) : 0;
}
