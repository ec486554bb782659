/* An encoder for the host's tests: answers "Extension" and counts blocks; writes nothing. */
#define TV_PLUGIN_ENCODER
#include "tonvale/plugin.h"

#include <stdlib.h>

typedef struct {
    uint32_t blocks;
    PluginArgs request; /* the record a "Communicate" request points at */
    uint32_t results[8];
    uint32_t seen;
} State;

static int same(const TvChar16* a, const TvChar16* b) {
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

TvInstance ENC_Create(const PluginLogHandles* logs) {
    (void)logs;
    return (TvInstance)(uintptr_t)calloc(1, sizeof(State));
}

int32_t ENC_Destroy(TvInstance inst) {
    free((void*)(uintptr_t)inst);
    return 1;
}

int32_t ENC_Get(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    if (same(name, TV_PROP_EXTENSION)) {
        args->Text = u".tst";
        return 1;
    }
    if (same(name, TV_PROP_COMMUNICATE)) {
        /* Three requests: get the decoder's first "Decodes", one without a record, one to the
         * host itself; then no more. */
        State* s = (State*)(uintptr_t)inst;
        if (args->Index > 2 || !same(args->Text, TV_PHASE_BEFORE_OPEN) || args->Value != 1) return 0;
        if (args->Index == 0) s->request = (PluginArgs){0};
        args->Text = args->Index == 2 ? TV_TARGET_HOST : u"DECODER";
        args->Text2 = u"Get";
        args->Text3 = TV_PROP_DECODES;
        args->Data = args->Index == 1 ? NULL : &s->request;
        return 1;
    }
    if (same(name, u"CommunicateSeen")) {
        State* s = (State*)(uintptr_t)inst;
        args->Value = s->seen;
        args->Value64 = (uint64_t)s->results[0] | (uint64_t)s->results[1] << 8 | (uint64_t)s->results[2] << 16;
        args->Text = s->request.Text;
        return 1;
    }
    if (same(name, u"BlockCount")) {
        args->Value = ((State*)(uintptr_t)inst)->blocks;
        return 1;
    }
    return 0;
}

int32_t ENC_Set(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    State* s = (State*)(uintptr_t)inst;
    if (same(name, TV_PROP_COMMUNICATE_RESULT) && s->seen < 8) {
        s->results[s->seen++] = args->Value;
        return 1;
    }
    return 0;
}

int32_t ENC_ShowConfigBit(TvInstance inst, intptr_t parent, const TvChar16* settings, void* context) {
    (void)inst;
    (void)parent;
    (void)settings;
    (void)context;
    return 0;
}

int32_t ENC_RemoveConfigBit(TvInstance inst, intptr_t panel) {
    (void)inst;
    (void)panel;
    return 0;
}

int32_t ENC_BeginConversion(TvInstance inst, ConversionRecord* conv) {
    (void)inst;
    return conv != NULL;
}

int32_t ENC_EndConversion(TvInstance inst, ConversionRecord* conv, uint32_t* writeTags) {
    (void)inst;
    (void)conv;
    *writeTags = 0;
    return 1;
}

int32_t ENC_EncodeBlock(TvInstance inst, AudioBlockRecord* block) {
    (void)block;
    ((State*)(uintptr_t)inst)->blocks++;
    return 1;
}
