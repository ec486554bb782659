/* A live DSP for the host's tests: halves every 16-bit sample in place. */
#define TV_PLUGIN_DSP
#include "tonvale/plugin.h"

#include <stdlib.h>

static int same(const TvChar16* a, const TvChar16* b) {
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

TvInstance DSP_Create(const PluginLogHandles* logs) {
    (void)logs;
    return (TvInstance)(uintptr_t)malloc(1);
}

int32_t DSP_Destroy(TvInstance inst) {
    free((void*)(uintptr_t)inst);
    return 1;
}

int32_t DSP_Get(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    (void)inst;
    (void)args;
    return same(name, TV_PROP_IS_LIVE);
}

int32_t DSP_Set(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    (void)inst;
    (void)name;
    (void)args;
    return 0;
}

int32_t DSP_ShowConfigBit(TvInstance inst, intptr_t parent, const TvChar16* settings, void* context) {
    (void)inst;
    (void)parent;
    (void)settings;
    (void)context;
    return 0;
}

int32_t DSP_RemoveConfigBit(TvInstance inst, intptr_t panel) {
    (void)inst;
    (void)panel;
    return 0;
}

int32_t DSP_BeginConversion(TvInstance inst, ConversionRecord* conv, const TvChar16* settings) {
    (void)inst;
    (void)conv;
    (void)settings;
    return 1;
}

int32_t DSP_EndConversion(TvInstance inst, ConversionRecord* conv) {
    (void)inst;
    (void)conv;
    return 1;
}

int32_t DSP_PassAudioBlock(TvInstance inst, AudioBlockRecord* block) {
    (void)inst;
    int16_t* s = (int16_t*)block->Data;
    for (uint32_t i = 0; s && i < block->Size / 2; ++i) s[i] = (int16_t)(s[i] / 2);
    return 1;
}

int32_t DSP_PassNonLive(TvInstance inst, const TvChar16* path, TvFormatAndLength* format, const TvChar16* settings,
                        const TvChar16* quitEvent) {
    (void)inst;
    (void)path;
    (void)format;
    (void)settings;
    (void)quitEvent;
    return 0;
}

int32_t DSP_AfterConversion(TvInstance inst, ConversionRecord* conv) {
    (void)inst;
    (void)conv;
    return 1;
}
