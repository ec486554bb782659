// The conversion pump: blocks from the source through the live DSPs to the encoder, with
// progress, and its neighbours that talk to the plug-ins (stages, the raw path, the source).
#include <cstring>

#include "driver/travex.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/threads.h"
#include "plugins/communicate.h"
#include "tags/tag_assembly.h"

namespace {
constexpr const char* RunFunction = "TvTravex::TvTravex";
constexpr const char* DecodeFunction = "TvTravex::DecodeAudioBlock";
// Waits of successive empty reads: none, a yield, 25, 25, then 50 ms.
constexpr int32_t IdleTable[5] = {-1, 0, 25, 25, 50};
constexpr int IdleMax = 4;
constexpr int ProgressStars = 60;
constexpr uint32_t RenderedBufferMs = 500;

void IdleWait(int index) {
    const int32_t wait = IdleTable[index];
    if (wait >= 0) XSleep(static_cast<uint32_t>(wait));
}

bool TextChanged(const TvChar16* text, XString& last) {
    if (text == nullptr || text[0] == 0) return false;
    if (XString::Equal(text, last.Text(), 0, false)) return false;
    last = text;
    return true;
}
}  // namespace

// Bytes and milliseconds through the wave format's own rules (a rate of 0 counts as 1).
static uint64_t BytesToMs(const XWaveFormat& format, uint64_t bytes) { return format.BytesToMilliseconds(bytes); }

void TvTravex::StoreSharedBytes(uint64_t bytes) {
    if (sharedBytes.view == nullptr) return;
    uint8_t little[8];
    for (int i = 0; i < 8; ++i) little[i] = static_cast<uint8_t>(bytes >> (8 * i));
    sharedBytes.Write(little);
}

bool TvTravex::DecodeAudioBlock(clTvDecoder& decoder, AudioBlockRecord& block) {
    if (nonLiveReader.IsOpen()) {
        if (nonLiveBuffer.Size() == 0) {
            uint64_t size = nonLiveFormat.FloorToBlock(static_cast<uint64_t>(nonLiveFormat.Average()) *
                                                       RenderedBufferMs / 1000);
            if (size == 0) size = nonLiveFormat.BlockAlign();
            if (!nonLiveBuffer.Resize(size, false, false, 0, true)) {
                ReportError(u"Error allocating buffer", DecodeFunction);
                g_exitStatus = 1;
                return false;
            }
        }
        const uint64_t want = nonLiveBuffer.Size() < nonLiveBytesLeft ? nonLiveBuffer.Size() : nonLiveBytesLeft;
        const uint32_t got = nonLiveReader.Read(nonLiveBuffer.Data(), static_cast<uint32_t>(want));
        if (want > 0 && got == 0) {
            ReportError(u"Error reading back from temporary DSP file.", DecodeFunction);
            g_exitStatus = 1;
            return false;
        }
        nonLiveBytesLeft -= got < nonLiveBytesLeft ? got : nonLiveBytesLeft;
        StoreWaveFormat(block.Format, nonLiveFormat);
        block.BitsPerSecond = nonLiveFormat.Average() * 8;
        block.BlockLengthMs = static_cast<int64_t>(BytesToMs(nonLiveFormat, got));
        block.Size = got;
        block.Data = nonLiveBuffer.Data();
        block.PositionMs = static_cast<int64_t>(BytesToMs(nonLiveFormat, bytesEncoded));
        block.EndOfStream = nonLiveBytesLeft == 0 ? 1 : 0;
        return true;
    }
    if (stdinIsSource) return DecodeStdinBlock(block);
    return decoder.DecodeBlock(&block) != 0;
}

bool TvTravex::PassLiveDSPs(AudioBlockRecord& block) {
    bool ok = true;
    for (auto& entry : dsps) {
        if (!entry->IsLive || !entry->Active) continue;
        if (entry->dsp.PassAudioBlock(&block) == 0) ok = false;
    }
    return ok;
}

void TvTravex::Pump(clTvDecoder& decoder, clTvEncoder& enc) {
    int idleCount = 0;
    int idleIndex = 0;
    int stars = 0;
    int64_t lastPercent = 0;
    XString lastInputText;
    XString lastOutputText;
    for (;;) {
        if (evtQuit.IsSet()) break;
        evtWatchdog.Set();
        AudioBlockRecord block;
        std::memset(&block, 0, sizeof block);
        if (!DecodeAudioBlock(decoder, block)) {
            MarkFailed();
            break;
        }
        if (commandFileMode && TextChanged(block.ActionText, lastInputText)) {
            PrintLine(XString(u"MSGTO: vMX: ActionInput: ") + lastInputText, true);
        }
        if ((block.Data == nullptr || block.Size == 0) && block.EndOfStream == 0) {
            if (idleCount < IdleMax) {
                ++idleCount;
                ++idleIndex;
            }
            IdleWait(idleIndex);
            if (IsFailed()) break;
            continue;
        }
        if (block.Data == nullptr) block.Size = 0;
        idleCount = idleIndex = 0;
        const uint32_t sourceSize = block.Size;

        const uint32_t align = block.Format.Format.nBlockAlign == 0 ? 1 : block.Format.Format.nBlockAlign;
        if (block.Size % align != 0) {
            if (block.EndOfStream) {
                block.Size -= block.Size % align;
                ReportInfo(u"Information: Audio data contains incomplete samples at end.", RunFunction);
            } else {
                ReportError(u"Error: Audio data contains incomplete samples mid-stream.");
                MarkFailed();
            }
            break;
        }

        const int64_t length = openRecord->LengthMs == 0 ? 1 : openRecord->LengthMs;
        int64_t percent = block.PositionMs * 100 / length;
        if (percent > 100) percent = 100;
        if (commandFileMode) {
            if (percent > lastPercent) {
                lastPercent = percent;
                PrintLine(XString(u"MSGTO: vMX: PCDone: ") + XString::FormatInt(percent) + u" %", true);
            }
        } else if (!silent) {
            const int due = static_cast<int>(percent * ProgressStars / 100);
            while (stars < due) {
                PrintLine(u"*", false);
                ++stars;
            }
        }

        block.ActionText = nullptr;
        if (!PassLiveDSPs(block)) {
            MarkFailed();
            break;
        }
        block.ActionText = nullptr;
        if (enc.EncodeBlock(&block) == 0) {
            MarkFailed();
            break;
        }
        if (commandFileMode && TextChanged(block.ActionText, lastOutputText)) {
            PrintLine(XString(u"MSGTO: vMX: ActionOutput: ") + lastOutputText, true);
        }
        bytesEncoded += sourceSize;
        StoreSharedBytes(bytesEncoded);
        IdleWait(0);
        if (block.EndOfStream || IsFailed()) break;
    }
}

void TvTravex::CommunicateStage(const char16_t* stage, clTvDecoder& decoder, clTvEncoder& enc) {
    RunCommunicatePhase(stage, stdinIsSource ? nullptr : &decoder, &enc, IsFailed(), stdinIsSource != 0);
}

bool TvTravex::OpenDecoder(clTvDecoder& decoder, OpenFileRecord& record) {
    if (stdinIsSource) return OpenStdinSource(record);
    // DecoderSet options go to the decoder in their order; the name matches case-sensitively.
    const XStringList& names = Names();
    const XStringList& values = Values();
    for (int64_t i = 0; i < names.Count(); ++i) {
        if (!XString::Equal(names[i].Text(), u"DecoderSet", 0, false) || values[i].IsEmpty()) continue;
        PluginArgs args{};
        decoder.Set(values[i].Text(), &args);
    }
    if (!quitEventName.IsEmpty()) {
        PluginArgs args{};
        args.Text = quitEventName.Text();
        decoder.Set(TV_PROP_EVENT_QUIT, &args);
    }
    return decoder.Open(&record) != 0;
}

bool TvTravex::CloseDecoder(clTvDecoder& decoder) {
    if (stdinIsSource) {
        CloseStdinSource();
        return true;
    }
    return decoder.Close(&conv) != 0;
}

bool TvTravex::TryRawUncompressed(const XString& options, clTvDecoder& decoder, clTvEncoder& enc) {
    PluginArgs ask{};
    ask.Text = inFile.Text();
    ask.Text2 = options.Text();
    ask.Text3 = outFile.Text();
    if (enc.Get(TV_PROP_SEND_RAW_UNCOMPRESSED, &ask) == 0) return false;

    OpenFileRecord record;
    std::memset(&record, 0, sizeof record);
    record.Path = inFile.Text();
    record.RecordKind = TV_RECORD_KIND_RAW;
    openRecord = &record;
    if (!OpenDecoder(decoder, record)) {
        openRecord = nullptr;
        return true;
    }
    SetConversionPriority(enc);
    AssembleTags(record, enc, options);
    if (!CloseDecoder(decoder)) MarkFailed();
    conv.InfoTags = record.InfoTags;
    conv.InfoTagsSize = record.InfoTagsSize;
    conv.OutputTags = outputTagBlock.data();
    conv.OutputTagsSize = static_cast<uint32_t>(outputTagBlock.size());
    conv.CommandLine = options.Text();
    conv.SourceFile = inFile.Text();
    conv.OutputFile = outFile.Text();
    conv.Format = TvFormatOf(&record);
    if (enc.BeginConversion(&conv) == 0) MarkFailed();
    // The record lives on this frame only.
    conv.Format = nullptr;
    openRecord = nullptr;
    return true;
}
