/* An encoder for the host's tests: answers "Extension" and counts blocks; writes nothing. */
#define TV_PLUGIN_ENCODER
#include "tonvale/plugin.h"

#include <stdlib.h>

typedef struct {
    uint32_t blocks;
} State;

static int same(const TvChar16 *a, const TvChar16 *b)
{
    while (*a && *a == *b) { ++a; ++b; }
    return *a == *b;
}

TvInstance ENC_Create(const PluginLogHandles *logs)
{
    (void)logs;
    return (TvInstance)(uintptr_t)calloc(1, sizeof(State));
}

int32_t ENC_Destroy(TvInstance inst)
{
    free((void *)(uintptr_t)inst);
    return 1;
}

int32_t ENC_Get(TvInstance inst, const TvChar16 *name, PluginArgs *args)
{
    if (same(name, TV_PROP_EXTENSION)) {
        args->Text = u".tst";
        return 1;
    }
    if (same(name, u"BlockCount")) {
        args->Value = ((State *)(uintptr_t)inst)->blocks;
        return 1;
    }
    return 0;
}

int32_t ENC_Set(TvInstance inst, const TvChar16 *name, PluginArgs *args)
{
    (void)inst; (void)name; (void)args;
    return 0;
}

int32_t ENC_ShowConfigBit(TvInstance inst, intptr_t parent, const TvChar16 *settings, void *context)
{
    (void)inst; (void)parent; (void)settings; (void)context;
    return 0;
}

int32_t ENC_RemoveConfigBit(TvInstance inst, intptr_t panel)
{
    (void)inst; (void)panel;
    return 0;
}

int32_t ENC_BeginConversion(TvInstance inst, ConversionRecord *conv)
{
    (void)inst;
    return conv != NULL;
}

int32_t ENC_EndConversion(TvInstance inst, ConversionRecord *conv, uint32_t *writeTags)
{
    (void)inst; (void)conv;
    *writeTags = 0;
    return 1;
}

int32_t ENC_EncodeBlock(TvInstance inst, AudioBlockRecord *block)
{
    (void)block;
    ((State *)(uintptr_t)inst)->blocks++;
    return 1;
}
