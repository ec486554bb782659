#include "plugins/tv_decoder.h"

const char* const clTvDecoder::ExportNames[ExportCount] = {TV_DECODER_EXPORTS};

clTvDecoder::clTvDecoder() { Load(nullptr); }

bool clTvDecoder::Load(const char16_t* path) { return LoadTable(path, ExportNames, exports); }

void clTvDecoder::Unload() {
    UnloadLibrary();
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

int32_t clTvDecoder::Open(OpenFileRecord* rec) { return Call(exports.Open, rec); }
int32_t clTvDecoder::Close(ConversionRecord* conv) { return Call(exports.Close, conv); }
int32_t clTvDecoder::DecodeBlock(AudioBlockRecord* block) { return Call(exports.DecodeBlock, block); }
int32_t clTvDecoder::SetPosition(int64_t position) { return Call(exports.SetPosition, position); }
int32_t clTvDecoder::DeleteATag(const char16_t* path, const char16_t* name) {
    return Call(exports.DeleteATag, path, name);
}
