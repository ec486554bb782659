#pragma once
// clTvDSP: a DSP effect library, its instance and its exports; thin forwards as in
// clTvDecoder.
#include "plugins/plugin_instance.h"

struct TvDspExports {
    TvDspCreateFn Create;
    TvDspDestroyFn Destroy;
    TvDspGetFn Get;
    TvDspSetFn Set;
    TvDspShowConfigBitFn ShowConfigBit;
    TvDspRemoveConfigBitFn RemoveConfigBit;
    TvDspBeginConversionFn BeginConversion;
    TvDspEndConversionFn EndConversion;
    TvDspPassAudioBlockFn PassAudioBlock;
    TvDspPassNonLiveFn PassNonLive;
    TvDspAfterConversionFn AfterConversion;
};

class clTvDSP : public XPluginInstance<TvDspExports> {
public:
    clTvDSP();

    bool Load(const char16_t* path) override;
    void Unload();
    bool LoadFile(const XString& path);

    int32_t ShowConfigBit(intptr_t parent, const char16_t* settings, void* context);
    int32_t RemoveConfigBit(intptr_t panel);
    int32_t BeginConversion(ConversionRecord* conv, const char16_t* settings);
    int32_t EndConversion(ConversionRecord* conv);
    int32_t PassAudioBlock(AudioBlockRecord* block);
    int32_t PassNonLive(const char16_t* path, TvFormatAndLength* format, const char16_t* settings,
                        const char16_t* quitEvent);
    int32_t AfterConversion(ConversionRecord* conv);

    static constexpr size_t ExportCount = TV_DSP_EXPORT_COUNT;
    static const char* const ExportNames[ExportCount];
};
