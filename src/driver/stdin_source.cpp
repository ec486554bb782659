// Raw PCM on standard input as the source: the format comes from the source* options, tags
// from an optional file; reads take what the pipe holds without waiting.
#include "driver/audio_source.h"
#include "foundation/log/xdebug.h"
#include "foundation/platform/console.h"
#include "foundation/platform/file_io.h"
#include "plugins/records.h"

namespace {
constexpr const char* OpenFunction = "TvTravex::OpenDecoder";
constexpr const char* CloseFunction = "TvTravex::CloseDecoder";
// The most one read takes: a pipe rarely holds more, and a redirected file is read in pieces.
constexpr uint32_t StdinChunk = 1u << 20;

class StdinSource : public TvAudioSource {
public:
    StdinSource(const XOptionList& options, const PluginLogHandles& logs, XFileHandle input)
        : options(options), logs(logs), input(input) {}

    bool Open(OpenFileRecord& record) override;
    bool Read(AudioBlockRecord& block, uint64_t encodedBytes) override;
    bool Close(ConversionRecord&) override;

private:
    void Fail(const char16_t* message) {
        // The run fails by the false that Open then returns.
        XDebugError(message, logs, OpenFunction);
    }

    const XOptionList& options;
    const PluginLogHandles& logs;
    XFileHandle input;
    XWaveFormat format;
    XBuffer tags;
    XBuffer buffer;  // what the last read took
    bool ended = false;
};

bool StdinSource::Open(OpenFileRecord& record) {
    XDebugWrite(u"->->", logs, OpenFunction);
    if (!XIsHandleOpen(input)) {
        Fail(u"Error: Cannot open StdInput for audio reading.");
        return false;
    }
    XString value;
    uint32_t rate = 0;
    uint16_t channels = 0;
    uint16_t bits = 0;
    int32_t lengthMs = 0;
    const bool haveRate = options.Get(u"sourcefreq", value) && !value.IsEmpty();
    if (haveRate) rate = static_cast<uint32_t>(value.ToInt());
    if (options.Get(u"sourcechannels", value) && !value.IsEmpty()) channels = static_cast<uint16_t>(value.ToInt());
    if (options.Get(u"sourcebits", value) && !value.IsEmpty()) bits = static_cast<uint16_t>(value.ToInt());
    const bool isFloat = options.Has(u"sourceisfloat");
    if (options.Get(u"sourcelength", value) && !value.IsEmpty()) lengthMs = static_cast<int32_t>(value.ToInt());
    if (!haveRate) {
        Fail(u"Error: RIFF WAVE StdInput not supported yet.");
        return false;
    }
    format = XWaveFormat(channels, rate, bits);
    if (isFloat) format.SetTag(XWaveTag::Float);

    record.BitsPerSecond = static_cast<uint32_t>(bits) * channels * rate;
    record.LengthMs = lengthMs;
    record.LengthBytes = static_cast<int64_t>(format.MillisecondsToBytes(lengthMs > 0 ? lengthMs : 0));
    StoreWaveFormat(record.Format, format);
    record.Path = u"-";

    if (options.Get(u"idtags", value) && !value.IsEmpty()) {
        XDebugWrite(u"Reading StdIn Tmp File IDTags: ", logs, nullptr, false);
        XFile file;
        if (file.OpenRead(value)) {
            const uint64_t size = file.Size();
            if (size > 0 && size < UINT32_MAX && tags.Resize(size, false, false, 0, true)) {
                if (file.Read(tags.Data(), static_cast<uint32_t>(size), XFile::FromStart) == size) {
                    record.IDTags = tags.Data();
                    record.IDTagsSize = static_cast<uint32_t>(size);
                } else {
                    tags.Free();
                }
            }
        }
        XDebugWrite(u"Read", logs);
    }
    XDebugWrite(XString(u"Using StdInput WFX:") + format.ToText(), logs);
    XDebugWrite(u"<-<-", logs, OpenFunction);
    return true;
}

bool StdinSource::Read(AudioBlockRecord& block, uint64_t encodedBytes) {
    if (buffer.Size() == 0 && !buffer.Resize(StdinChunk, false, false, 0, true)) {
        // Without a buffer nothing can be read: the stream counts as ended.
        block.EndOfStream = 1;
        return true;
    }
    uint32_t got = 0;
    bool atEnd = ended;
    // Whole frames of what waits are taken, the rest stays for the next read: a pipe that
    // holds part of a frame is then never split mid-stream by the reader's timing.
    uint32_t want = StdinChunk;
    uint32_t waiting = 0;
    const uint32_t align = format.BlockAlign() == 0 ? 1 : format.BlockAlign();
    if (XSysPeekPipe(input, &waiting) && waiting > 0) {
        if (waiting >= align) {
            want = waiting < StdinChunk ? waiting : StdinChunk - StdinChunk % align;
            want -= want % align;
        } else if (!XSysWriterGone(input)) {
            return true;  // part of a frame: the rest is on its way
        } else {
            // The writer is gone and less than a frame is left: that is the stream's end,
            // and the block says so, so that the odd bytes count as a tail and not mid-stream.
            XSysReadReady(input, buffer.Data(), waiting, &got, &atEnd);
            atEnd = true;
        }
    }
    // A read that fails is the end of the stream.
    if (!atEnd) XSysReadReady(input, buffer.Data(), want, &got, &atEnd);
    if (atEnd) ended = true;
    if (got > 0) TvFillBlock(block, format, buffer.Data(), got, encodedBytes);
    block.EndOfStream = ended ? 1 : 0;
    return true;
}

bool StdinSource::Close(ConversionRecord&) {
    XDebugWrite(u"->->", logs, CloseFunction);
    ended = true;
    // The process's own standard input is let go of, so that a writer learns at once that
    // nothing more is read; a handle a caller gave stays the caller's.
    if (input == XStdInputHandle) XCloseStdInput();
    XDebugWrite(u"<-<-", logs, CloseFunction);
    return true;
}

}  // namespace

std::unique_ptr<TvAudioSource> TvMakeStdinSource(const XOptionList& options, const PluginLogHandles& logs,
                                                 XFileHandle input) {
    return std::make_unique<StdinSource>(options, logs, input);
}
