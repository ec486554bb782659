// Raw PCM on standard input as the source: the format comes from the source* options, tags
// from an optional file; reads take what the pipe holds without waiting.
#include <cstring>

#include "driver/travex.h"
#include "foundation/files/xfile.h"
#include "foundation/platform/file_io.h"
#include "foundation/log/xdebug.h"
#include "foundation/platform/console.h"
#include "plugins/records.h"

namespace {
constexpr const char* OpenFunction = "TvTravex::OpenDecoder";
constexpr const char* CloseFunction = "TvTravex::CloseDecoder";
// The most one read takes: a pipe rarely holds more, and a redirected file is read in pieces.
constexpr uint32_t StdinChunk = 1u << 20;
}  // namespace

bool TvTravex::OpenStdinSource(OpenFileRecord& record) {
    DebugLog(u"->->", OpenFunction);
    if (!XIsHandleOpen(XStdInputHandle)) {
        ReportError(u"Error: Cannot open StdInput for audio reading.", OpenFunction);
        g_exitStatus = 1;
        return false;
    }
    XString value;
    uint32_t rate = 0;
    uint16_t channels = 0;
    uint16_t bits = 0;
    int32_t lengthMs = 0;
    const bool haveRate = Get(u"sourcefreq", value) && !value.IsEmpty();
    if (haveRate) rate = static_cast<uint32_t>(value.ToInt());
    if (Get(u"sourcechannels", value) && !value.IsEmpty()) channels = static_cast<uint16_t>(value.ToInt());
    if (Get(u"sourcebits", value) && !value.IsEmpty()) bits = static_cast<uint16_t>(value.ToInt());
    const bool isFloat = Has(u"sourceisfloat");
    if (Get(u"sourcelength", value) && !value.IsEmpty()) lengthMs = static_cast<int32_t>(value.ToInt());
    if (!haveRate) {
        ReportError(u"Error: RIFF WAVE StdInput not supported yet.", OpenFunction);
        g_exitStatus = 1;
        return false;
    }
    stdinFormat = XWaveFormat(channels, rate, bits);
    if (isFloat) stdinFormat.SetTag(XWaveTag::Float);

    record.BitsPerSecond = static_cast<uint32_t>(bits) * channels * rate;
    record.LengthMs = lengthMs;
    record.LengthBytes = static_cast<int64_t>(stdinFormat.MillisecondsToBytes(lengthMs > 0 ? lengthMs : 0));
    StoreWaveFormat(record.Format, stdinFormat);
    record.Path = u"-";

    if (Get(u"idtags", value) && !value.IsEmpty()) {
        XDebugWrite(u"Reading StdIn Tmp File IDTags: ", logSinks, nullptr, false);
        XFile tags;
        if (tags.OpenRead(value)) {
            const uint64_t size = tags.Size();
            if (size > 0 && size < UINT32_MAX && stdinTags.Resize(size, false, false, 0, true)) {
                if (tags.Read(stdinTags.Data(), static_cast<uint32_t>(size), XFile::FromStart) == size) {
                    record.IDTags = stdinTags.Data();
                    record.IDTagsSize = static_cast<uint32_t>(size);
                } else {
                    stdinTags.Free();
                }
            }
        }
        XDebugWrite(u"Read", logSinks);
    }
    DebugLog(XString(u"Using StdInput WFX:") + stdinFormat.ToText());
    DebugLog(u"<-<-", OpenFunction);
    return true;
}

bool TvTravex::DecodeStdinBlock(AudioBlockRecord& block) {
    if (stdinBuffer.Size() == 0 && !stdinBuffer.Resize(StdinChunk, false, false, 0, true)) {
        // Without a buffer nothing can be read: the stream counts as ended.
        block.EndOfStream = 1;
        return true;
    }
    uint32_t got = 0;
    bool ended = stdinEnded != 0;
    // Whole frames of what waits are taken, the rest stays for the next read: a pipe that
    // holds part of a frame is then never split mid-stream by the reader's timing.
    uint32_t want = StdinChunk;
    uint32_t waiting = 0;
    const uint32_t align = stdinFormat.BlockAlign() == 0 ? 1 : stdinFormat.BlockAlign();
    if (XSysPeekPipe(XStdInputHandle, &waiting) && waiting > 0) {
        if (waiting >= align) {
            want = waiting < StdinChunk ? waiting : StdinChunk - StdinChunk % align;
            want -= want % align;
        } else if (!XSysWriterGone(XStdInputHandle)) {
            return true;  // part of a frame: the rest is on its way
        }
    }
    // A read that fails is the end of the stream.
    if (!ended) XSysReadReady(XStdInputHandle, stdinBuffer.Data(), want, &got, &ended);
    if (ended) stdinEnded = 1;
    if (got > 0) {
        StoreWaveFormat(block.Format, stdinFormat);
        block.BitsPerSecond = stdinFormat.Average() * 8;
        block.BlockLengthMs = static_cast<int64_t>(stdinFormat.BytesToMilliseconds(got));
        block.Size = got;
        block.Data = stdinBuffer.Data();
        block.PositionMs = static_cast<int64_t>(stdinFormat.BytesToMilliseconds(bytesEncoded));
    }
    block.EndOfStream = stdinEnded;
    return true;
}

void TvTravex::CloseStdinSource() {
    DebugLog(u"->->", CloseFunction);
    // Standard input is read through its descriptor; the process keeps it open.
    stdinEnded = 1;
    DebugLog(u"<-<-", CloseFunction);
}
