#pragma once
// Base classes that take the create/destroy/get/set boilerplate off a C++ plug-in. A plug-in
// derives from DecoderBase, EncoderBase or DspBase, overrides what it needs, and writes one
// TV_KIT_*_EXPORTS(Class) line in one source file. No exception crosses the C boundary: the
// glue writes its text to the error log and returns 0.
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "tonvale/plugin.h"
#include "tvkit/log.h"
#include "tvkit/text.h"

namespace tvkit {

class PluginBase {
public:
    explicit PluginBase(const PluginLogHandles* logs) : log(logs) {}
    virtual ~PluginBase() = default;
    PluginBase(const PluginBase&) = delete;
    PluginBase& operator=(const PluginBase&) = delete;

    // Named properties; 0 for a name the plug-in doesn't know. The base answers "BatchID" and
    // "EventQuit" by storing them; overrides call it for names they don't handle.
    virtual int32_t GetProperty(std::u16string_view name, PluginArgs& args);
    virtual int32_t SetProperty(std::u16string_view name, PluginArgs& args);

    // Keeps a returned text alive until the call after the next one on this instance (so a
    // "Communicate" request still stands during its "CommunicateResult") and returns it.
    const TvChar16* Keep(std::u16string text);
    // Called by the glue on entry to every call.
    void BeginCall();

    const PluginLog& Log() const { return log; }
    uint32_t BatchId() const { return batchId; }
    const std::u16string& QuitEventName() const { return quitEvent; }

    // The glue's casts between instance handles and objects.
    TvInstance Handle() { return reinterpret_cast<TvInstance>(this); }
    template <class T>
    static T* From(TvInstance handle) {
        return handle ? static_cast<T*>(reinterpret_cast<PluginBase*>(handle)) : nullptr;
    }

private:
    PluginLog log;
    uint32_t batchId = 0;
    std::u16string quitEvent;
    std::vector<std::unique_ptr<std::u16string>> kept, keptBefore;
};

// One "Decodes" / "StreamingDecodes" entry.
struct DecodesEntry {
    const char16_t* extension;
    const char16_t* description;
};

// Answers a listing property from a table: fills Text/Text2 of entry args.Index.
int32_t AnswerListing(const DecodesEntry* table, size_t count, PluginArgs& args);

class DecoderBase : public PluginBase {
public:
    using PluginBase::PluginBase;
    virtual int32_t Open(OpenFileRecord& rec) = 0;
    virtual int32_t Close(ConversionRecord* conv) {
        (void)conv;
        return 1;
    }
    virtual int32_t DecodeBlock(AudioBlockRecord& block) = 0;
    virtual int32_t SetPosition(int64_t position) {
        (void)position;
        return 0;
    }
    virtual int32_t DeleteATag(const TvChar16* path, const TvChar16* name) {
        (void)path;
        (void)name;
        return 0;
    }
};

class EncoderBase : public PluginBase {
public:
    using PluginBase::PluginBase;
    virtual int32_t BeginConversion(ConversionRecord& conv) = 0;
    virtual int32_t EndConversion(ConversionRecord& conv, uint32_t& writeTags) = 0;
    virtual int32_t EncodeBlock(AudioBlockRecord& block) = 0;
};

class DspBase : public PluginBase {
public:
    using PluginBase::PluginBase;
    virtual int32_t BeginConversion(ConversionRecord& conv, std::u16string_view settings) {
        (void)conv;
        (void)settings;
        return 1;
    }
    virtual int32_t EndConversion(ConversionRecord& conv) {
        (void)conv;
        return 1;
    }
    virtual int32_t PassAudioBlock(AudioBlockRecord& block) {
        (void)block;
        return 1;
    }
    virtual int32_t PassNonLive(std::u16string_view path, TvFormatAndLength& format, std::u16string_view settings,
                                std::u16string_view quitEvent) {
        (void)path;
        (void)format;
        (void)settings;
        (void)quitEvent;
        return 0;
    }
    virtual int32_t AfterConversion(ConversionRecord& conv) {
        (void)conv;
        return 1;
    }
};

// Writes the text of the exception being handled to the error log under function, which
// fails the run with a reason the user can read. Never throws.
void ReportCurrentException(const PluginLog& log, const char* function) noexcept;

// Runs one call on an instance: 0 without an instance or when anything throws, and then the
// exception's text is in the error log under function (the export's name).
template <class T, class F>
int32_t Call(TvInstance handle, F&& body, const char* function = nullptr) {
    T* self = PluginBase::From<T>(handle);
    if (!self) return 0;
    try {
        self->BeginCall();
        return body(*self);
    } catch (...) {
        ReportCurrentException(self->Log(), function);
        return 0;  // nothing may unwind into the host
    }
}

template <class T>
TvInstance Make(const PluginLogHandles* logs, const char* function = nullptr) {
    try {
        return (new T(logs))->Handle();
    } catch (...) {
        ReportCurrentException(PluginLog(logs), function);
        return 0;
    }
}

inline int32_t Destroy(TvInstance handle) {
    delete PluginBase::From<PluginBase>(handle);
    return 1;
}

}  // namespace tvkit

#define TV_KIT_COMMON_EXPORTS_(Prefix, Base, Class)                                                            \
    extern "C" TV_PLUGIN_EXPORT TvInstance Prefix##Create(const PluginLogHandles* logs) {                      \
        return tvkit::Make<Class>(logs, __func__);                                                             \
    }                                                                                                          \
    extern "C" TV_PLUGIN_EXPORT int32_t Prefix##Destroy(TvInstance inst) { return tvkit::Destroy(inst); }      \
    extern "C" TV_PLUGIN_EXPORT int32_t Prefix##Get(TvInstance inst, const TvChar16* name, PluginArgs* args) { \
        return tvkit::Call<Base>(                                                                              \
            inst, [&](Base& p) { return args ? p.GetProperty(tvkit::View16(name), *args) : 0; }, __func__);    \
    }                                                                                                          \
    extern "C" TV_PLUGIN_EXPORT int32_t Prefix##Set(TvInstance inst, const TvChar16* name, PluginArgs* args) { \
        return tvkit::Call<Base>(                                                                              \
            inst, [&](Base& p) { return args ? p.SetProperty(tvkit::View16(name), *args) : 0; }, __func__);    \
    }

#define TV_KIT_DECODER_EXPORTS(Class)                                                                             \
    TV_KIT_COMMON_EXPORTS_(, tvkit::DecoderBase, Class)                                                           \
    extern "C" TV_PLUGIN_EXPORT int32_t Open(TvInstance inst, OpenFileRecord* rec) {                              \
        return tvkit::Call<tvkit::DecoderBase>(                                                                   \
            inst, [&](tvkit::DecoderBase& p) { return rec ? p.Open(*rec) : 0; }, __func__);                       \
    }                                                                                                             \
    extern "C" TV_PLUGIN_EXPORT int32_t Close(TvInstance inst, ConversionRecord* conv) {                          \
        return tvkit::Call<tvkit::DecoderBase>(                                                                   \
            inst, [&](tvkit::DecoderBase& p) { return p.Close(conv); }, __func__);                                \
    }                                                                                                             \
    extern "C" TV_PLUGIN_EXPORT int32_t DecodeBlock(TvInstance inst, AudioBlockRecord* block) {                   \
        return tvkit::Call<tvkit::DecoderBase>(                                                                   \
            inst, [&](tvkit::DecoderBase& p) { return block ? p.DecodeBlock(*block) : 0; }, __func__);            \
    }                                                                                                             \
    extern "C" TV_PLUGIN_EXPORT int32_t SetPosition(TvInstance inst, int64_t position) {                          \
        return tvkit::Call<tvkit::DecoderBase>(                                                                   \
            inst, [&](tvkit::DecoderBase& p) { return p.SetPosition(position); }, __func__);                      \
    }                                                                                                             \
    extern "C" TV_PLUGIN_EXPORT int32_t DeleteATag(TvInstance inst, const TvChar16* path, const TvChar16* name) { \
        return tvkit::Call<tvkit::DecoderBase>(                                                                   \
            inst, [&](tvkit::DecoderBase& p) { return p.DeleteATag(path, name); }, __func__);                     \
    }

#define TV_KIT_CONFIG_EXPORTS_(Prefix)                                                                        \
    extern "C" TV_PLUGIN_EXPORT int32_t Prefix##ShowConfigBit(TvInstance, intptr_t, const TvChar16*, void*) { \
        return 0;                                                                                             \
    }                                                                                                         \
    extern "C" TV_PLUGIN_EXPORT int32_t Prefix##RemoveConfigBit(TvInstance, intptr_t) { return 0; }

#define TV_KIT_ENCODER_EXPORTS(Class)                                                                    \
    TV_KIT_COMMON_EXPORTS_(ENC_, tvkit::EncoderBase, Class)                                              \
    TV_KIT_CONFIG_EXPORTS_(ENC_)                                                                         \
    extern "C" TV_PLUGIN_EXPORT int32_t ENC_BeginConversion(TvInstance inst, ConversionRecord* conv) {   \
        return tvkit::Call<tvkit::EncoderBase>(                                                          \
            inst, [&](tvkit::EncoderBase& p) { return conv ? p.BeginConversion(*conv) : 0; }, __func__); \
    }                                                                                                    \
    extern "C" TV_PLUGIN_EXPORT int32_t ENC_EndConversion(TvInstance inst, ConversionRecord* conv,       \
                                                          uint32_t* writeTags) {                         \
        return tvkit::Call<tvkit::EncoderBase>(                                                          \
            inst,                                                                                        \
            [&](tvkit::EncoderBase& p) {                                                                 \
                uint32_t scratch = 0;                                                                    \
                return conv ? p.EndConversion(*conv, writeTags ? *writeTags : scratch) : 0;              \
            },                                                                                           \
            __func__);                                                                                   \
    }                                                                                                    \
    extern "C" TV_PLUGIN_EXPORT int32_t ENC_EncodeBlock(TvInstance inst, AudioBlockRecord* block) {      \
        return tvkit::Call<tvkit::EncoderBase>(                                                          \
            inst, [&](tvkit::EncoderBase& p) { return block ? p.EncodeBlock(*block) : 0; }, __func__);   \
    }

#define TV_KIT_DSP_EXPORTS(Class)                                                                                  \
    TV_KIT_COMMON_EXPORTS_(DSP_, tvkit::DspBase, Class)                                                            \
    TV_KIT_CONFIG_EXPORTS_(DSP_)                                                                                   \
    extern "C" TV_PLUGIN_EXPORT int32_t DSP_BeginConversion(TvInstance inst, ConversionRecord* conv,               \
                                                            const TvChar16* settings) {                            \
        return tvkit::Call<tvkit::DspBase>(                                                                        \
            inst, [&](tvkit::DspBase& p) { return conv ? p.BeginConversion(*conv, tvkit::View16(settings)) : 0; }, \
            __func__);                                                                                             \
    }                                                                                                              \
    extern "C" TV_PLUGIN_EXPORT int32_t DSP_EndConversion(TvInstance inst, ConversionRecord* conv) {               \
        return tvkit::Call<tvkit::DspBase>(                                                                        \
            inst, [&](tvkit::DspBase& p) { return conv ? p.EndConversion(*conv) : 0; }, __func__);                 \
    }                                                                                                              \
    extern "C" TV_PLUGIN_EXPORT int32_t DSP_PassAudioBlock(TvInstance inst, AudioBlockRecord* block) {             \
        return tvkit::Call<tvkit::DspBase>(                                                                        \
            inst, [&](tvkit::DspBase& p) { return block ? p.PassAudioBlock(*block) : 0; }, __func__);              \
    }                                                                                                              \
    extern "C" TV_PLUGIN_EXPORT int32_t DSP_PassNonLive(TvInstance inst, const TvChar16* path,                     \
                                                        TvFormatAndLength* format, const TvChar16* settings,       \
                                                        const TvChar16* quitEvent) {                               \
        return tvkit::Call<tvkit::DspBase>(                                                                        \
            inst,                                                                                                  \
            [&](tvkit::DspBase& p) {                                                                               \
                return format ? p.PassNonLive(tvkit::View16(path), *format, tvkit::View16(settings),               \
                                              tvkit::View16(quitEvent))                                            \
                              : 0;                                                                                 \
            },                                                                                                     \
            __func__);                                                                                             \
    }                                                                                                              \
    extern "C" TV_PLUGIN_EXPORT int32_t DSP_AfterConversion(TvInstance inst, ConversionRecord* conv) {             \
        return tvkit::Call<tvkit::DspBase>(                                                                        \
            inst, [&](tvkit::DspBase& p) { return conv ? p.AfterConversion(*conv) : 0; }, __func__);               \
    }
