#pragma once
// clTvEncoder: an encoder library, its instance and its exports; thin forwards as in
// clTvDecoder.
#include "plugins/plugin_instance.h"

struct TvEncoderExports {
    TvEncoderCreateFn Create;
    TvEncoderDestroyFn Destroy;
    TvEncoderGetFn Get;
    TvEncoderSetFn Set;
    TvEncoderShowConfigBitFn ShowConfigBit;
    TvEncoderRemoveConfigBitFn RemoveConfigBit;
    TvEncoderBeginConversionFn BeginConversion;
    TvEncoderEndConversionFn EndConversion;
    TvEncoderEncodeBlockFn EncodeBlock;
};

class clTvEncoder : public XPluginInstance<TvEncoderExports> {
public:
    clTvEncoder();

    bool Load(const char16_t* path) override;
    void Unload();
    bool LoadFile(const XString& path);

    int32_t ShowConfigBit(intptr_t parent, const char16_t* settings, void* context);
    int32_t RemoveConfigBit(intptr_t panel);
    int32_t BeginConversion(ConversionRecord* conv);
    int32_t EndConversion(ConversionRecord* conv, uint32_t* writeTags);
    int32_t EncodeBlock(AudioBlockRecord* block);

    static constexpr size_t ExportCount = TV_ENCODER_EXPORT_COUNT;
    static const char* const ExportNames[ExportCount];
};
