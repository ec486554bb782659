// The conversion pump: blocks from the source through the live DSPs to the encoder, with
// progress, and its neighbours that talk to the plug-ins (stages, the raw path, the source).
#include <cstring>

#include "driver/travex.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/threads.h"
#include "plugins/communicate.h"
#include "tags/tag_assembly.h"

bool TvTravex::DecodeAudioBlock(AudioBlockRecord& block) {
    TvAudioSource* rendered = dsps.Rendered();
    return (rendered != nullptr ? *rendered : *source).Read(block, bytesEncoded);
}

void TvTravex::Pump(clTvEncoder& enc) {
    TvIdleWait idle;
    for (;;) {
        if (evtQuit.IsSet()) break;
        evtWatchdog.Set();
        AudioBlockRecord block;
        std::memset(&block, 0, sizeof block);
        if (!DecodeAudioBlock(block)) {
            MarkFailed();
            break;
        }
        progress.InputAction(block.ActionText);
        if ((block.Data == nullptr || block.Size == 0) && block.EndOfStream == 0) {
            idle.AfterEmptyRead();
            if (IsFailed()) break;
            continue;
        }
        if (block.Data == nullptr) block.Size = 0;
        idle.Reset();

        const uint32_t align = block.Format.Format.nBlockAlign == 0 ? 1 : block.Format.Format.nBlockAlign;
        if (block.Size % align != 0) {
            if (block.EndOfStream) {
                // The whole last block goes, not only its odd bytes: the stream's end is
                // where its last whole block ended.
                block.Size -= block.Size % align;
                ReportInfo(u"Information: Audio data contains incomplete samples at end.", RunFunction);
            } else {
                ReportError(u"Error: Audio data contains incomplete samples mid-stream.");
                MarkFailed();
            }
            break;
        }
        const uint32_t sourceSize = block.Size;

        progress.Position(block.PositionMs, openRecord->LengthMs);

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
        progress.OutputAction(block.ActionText);
        bytesEncoded += sourceSize;
        progress.Count(bytesEncoded);
        if (block.EndOfStream || IsFailed()) break;
    }
}

void TvTravex::CommunicateStage(const char16_t* stage, clTvDecoder& decoder, clTvEncoder& enc) {
    RunCommunicatePhase(stage, plan.stdinIsSource ? nullptr : &decoder, &enc, IsFailed(), plan.stdinIsSource != 0);
}

bool TvTravex::OpenDecoder(clTvDecoder& decoder, OpenFileRecord& record) {
    source = plan.stdinIsSource ? TvMakeStdinSource(*this, logSinks, consoleHandles.input)
                                : TvMakeDecoderSource(decoder, *this, plan.quitEventName);
    return source->Open(record);
}

bool TvTravex::CloseDecoder() { return !source || source->Close(conv); }

bool TvTravex::TryRawUncompressed(const XString& options, clTvDecoder& decoder, clTvEncoder& enc) {
    PluginArgs ask{};
    ask.Text = plan.inFile.Text();
    ask.Text2 = options.Text();
    ask.Text3 = plan.outFile.Text();
    if (enc.Get(TV_PROP_SEND_RAW_UNCOMPRESSED, &ask) == 0) return false;

    OpenFileRecord record;
    std::memset(&record, 0, sizeof record);
    record.Path = plan.inFile.Text();
    record.RecordKind = TV_RECORD_KIND_RAW;
    openRecord = &record;
    if (!OpenDecoder(decoder, record)) {
        openRecord = nullptr;
        return true;
    }
    SetConversionPriority(enc);
    AssembleTags(record, enc, options);
    if (!CloseDecoder()) MarkFailed();
    conv.InfoTags = record.InfoTags;
    conv.InfoTagsSize = record.InfoTagsSize;
    conv.OutputTags = outputTagBlock.data();
    conv.OutputTagsSize = static_cast<uint32_t>(outputTagBlock.size());
    conv.CommandLine = options.Text();
    conv.SourceFile = plan.inFile.Text();
    conv.OutputFile = plan.outFile.Text();
    conv.Format = TvFormatOf(&record);
    if (enc.BeginConversion(&conv) == 0) MarkFailed();
    // The record lives on this frame only.
    conv.Format = nullptr;
    openRecord = nullptr;
    return true;
}
