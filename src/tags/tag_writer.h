#pragma once
// Writing the assembled tags into the finished output file, through the decoder library that
// knows the output's format.
#include <cstdint>
#include <functional>

#include "foundation/text/xstring.h"
#include "plugins/tv_decoder.h"
#include "tonvale/plugin.h"

// The decoder side of the tag writer. The run's implementation loads a library through the
// codec handler (XCodecTagDecoder); tests give their own.
class XTagWriterDecoder {
public:
    virtual ~XTagWriterDecoder() = default;
    // Loads a decoder for the file name and makes an instance with `logs`; false when no
    // library serves that name.
    virtual bool Load(const XString& name, const PluginLogHandles& logs) = 0;
    // Set("IDTags") with Text = path, Data = block, Value = size; the plug-in's result.
    virtual int32_t SetIDTags(const XString& path, const void* block, uint32_t size) = 0;
    // Destroys the instance and unloads the library.
    virtual void Unload() = 0;
};

// The run's decoder side: a fresh clTvDecoder, chosen by the codec handler from the name's
// extension among the decoders beside the program of `module` (null: this program).
class XCodecTagDecoder : public XTagWriterDecoder {
public:
    explicit XCodecTagDecoder(const void* module = nullptr) : module(module) {}
    bool Load(const XString& name, const PluginLogHandles& logs) override;
    int32_t SetIDTags(const XString& path, const void* block, uint32_t size) override;
    void Unload() override;

private:
    const void* module;
    clTvDecoder decoder;
};

// What the writer needs of the run around it.
struct XTagWriterContext {
    PluginLogHandles logs{};  // the run's; the decoder gets a copy without the error pipe
    bool silent = false;      // no console words
    // Console text, with or without a line end.
    std::function<void(const XString& text, bool endLine)> print;
    // A debug-log line: "->->" or "<-<-" and the function name; XDebugWrite when not set.
    std::function<void(const XString& text, const PluginLogHandles& logs, const char* function)> debugWrite;
    // Sleeping between tries; the real one unless a test shortens it.
    std::function<void(uint32_t milliseconds)> sleep;
    // Whether the file can be opened for reading with read and write sharing; the default
    // asks the file system.
    std::function<bool(const XString& path)> canOpen;
};

// Writes `block` into the file at `path`. `tagFileName` picks the decoder: the value of the
// "fntousefortagloaddec" option when given, else `path`. True when written or when there is
// nothing to do (no block, an ".iGnore" name, no decoder for the format); false when the
// decoder refused ten times.
bool XWriteIDTags(XTagWriterDecoder& decoder, const XTagWriterContext& context, const XString& path,
                  const XString& tagFileName, const void* block, uint32_t size);
