#pragma once
// clTvDecoder: a decoder library, its instance and its exports. Every entry is a thin
// forward that returns 0 without an instance or export.
#include "plugins/plugin_instance.h"

struct TvDecoderExports {
    TvDecoderCreateFn Create;
    TvDecoderDestroyFn Destroy;
    TvDecoderGetFn Get;
    TvDecoderSetFn Set;
    TvDecoderOpenFn Open;
    TvDecoderCloseFn Close;
    TvDecoderDecodeBlockFn DecodeBlock;
    TvDecoderSetPositionFn SetPosition;
    TvDecoderDeleteATagFn DeleteATag;
};

class clTvDecoder : public XPluginInstance<TvDecoderExports> {
public:
    clTvDecoder();

    bool Load(const char16_t* path) override;
    // Destroys the instance, frees the library, resets the table, empties Extension and Path.
    void Unload();
    // Unload, then Load(path); on success records extension and path.
    bool LoadFile(const XString& path, const XString& extension);

    int32_t Open(OpenFileRecord* rec);
    int32_t Close(ConversionRecord* conv);
    int32_t DecodeBlock(AudioBlockRecord* block);
    int32_t SetPosition(int64_t position);
    int32_t DeleteATag(const char16_t* path, const char16_t* name);

    XString Extension;  // the extension this library serves; ".NOTUSING" while only listed
    XString Path;       // the library's full path

    static constexpr size_t ExportCount = TV_DECODER_EXPORT_COUNT;
    static const char* const ExportNames[ExportCount];
};
