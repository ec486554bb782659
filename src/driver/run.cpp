// The run from loading the plug-ins to the closing text, in its one order. A failing step
// marks the run failed and the later steps still run, so every plug-in sees its end calls.
#include <cstring>

#include "driver/travex.h"
#include "foundation/log/xdebug.h"
#include "foundation/paths/xpath.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/faults.h"
#include "foundation/settings/xregistry.h"
#include "foundation/sync/xmutex.h"
#include "plugins/codec_handler.h"
#include "tags/tag_assembly.h"

namespace {
constexpr uint32_t PrecachePiece = 65536;
// The output's whole name stays below 256 characters before ".tmp" and the extension.
constexpr int TempNameLimit = 255;

// Reads the whole file once, so that the decoder finds it in the system's cache. One
// precache at a time runs across all processes.
void Precache(const XString& path) {
    XMutex mutex(u"mutvMXPrecacheread");
    mutex.Lock();
    XFile file;
    if (file.OpenRead(path)) {
        XBuffer scratch;
        if (scratch.Resize(PrecachePiece, false)) {
            // The bytes are not wanted, only their trip through the cache.
            while (file.Read(scratch.Data(), PrecachePiece) == PrecachePiece) {}
        }
    }
    file.Close();
    mutex.Unlock();
}

void SetText(clTvEncoder& encoder, const char16_t* key, const XString& text) {
    PluginArgs args{};
    args.Text = text.Text();
    encoder.Set(key, &args);
}
}  // namespace

void TvTravex::ReportInfo(const XString& message, const char* function) { XDebugInfo(message, logSinks, function); }

void TvTravex::AssembleTags(const OpenFileRecord& record, clTvEncoder& enc, const XString& options) {
    PluginArgs args{};
    if (enc.Get(TV_PROP_SEND_OVER_REPLAYGAIN_TAGS, &args) != 0) replayGainWanted = 1;
    XTagAssemblyInput input;
    input.options = this;
    input.sourceTags = record.IDTags;
    input.sourceTagsSize = record.IDTagsSize;
    input.infoTags = record.InfoTags;
    input.infoTagsSize = record.InfoTagsSize;
    input.keepReplayGain = replayGainWanted != 0;
    input.encoderName = plan.encoderName;
    input.encoderCommandLine = options;
    input.sourcePath = plan.inFile;
    AssembleOutputTags(input, ReadTagAssemblyFlags(), outputTags, outputTagBlock);
}

void TvTravex::SetDecodeQuality(clTvDecoder& decoder, clTvEncoder& enc) {
    if (plan.stdinIsSource) return;
    PluginArgs need{};
    need.Text = encoderOptions.Text();
    if (enc.Get(TV_PROP_NEED_HQ_AUDIO, &need) == 0) return;
    PluginArgs as{};
    as.Text = u"Highest Quality";
    decoder.Set(TV_PROP_DECODE_AS, &as);
}

void TvTravex::LogConversionSetup() {
    DebugLog(XString(u"Encoding To: ") + plan.encoderName);
    DebugLog(XString(u"Encoder Cmd Line: ") + encoderOptions);
    if (!dsps.IsEmpty()) {
        DebugLog(u"DSP Effects:");
        for (const auto& entry : dsps.Entries()) {
            DebugLog(XString(u"    ") + entry->name + (entry->IsLive ? u"" : u" (non-live)") + u": " + entry->params);
        }
    }
    DebugLog(XString());
}

void TvTravex::Run(clTvDecoder& decoder) {
    OpenFileRecord record;
    std::memset(&record, 0, sizeof record);
    bool encoderLoaded = false;
    bool dspsLoaded = false;

    // The decoder for the input's extension (none for standard input), then the encoder.
    if (!plan.stdinIsSource && !clTvCodecHandler::LoadDecoderForFile(plan.inFile, decoder, &logSinks, nullptr, false)) {
        ReportError(XString(u"Error: Unable to load decoder for file type '") +
                        clTvCodecHandler::ExtensionOf(plan.inFile) + u"', codec not installed? visit 'Format Depot'.",
                    RunFunction);
        exitStatus = 1;
    } else {
        if (plan.batchId != 0 && !plan.stdinIsSource) {
            PluginArgs args{};
            args.Value = plan.batchId;
            decoder.Set(TV_PROP_BATCH_ID, &args);
        }
        if (!clTvCodecHandler::LoadEncoder(plan.encoderName, encoder, &logSinks, nullptr)) {
            ReportError(XString(u"Error: Unable to load encoder '") + plan.encoderName + u"'.", RunFunction);
            exitStatus = 1;
        } else {
            encoderLoaded = true;
        }
    }

    if (encoderLoaded) {
        if (!plan.quitEventName.IsEmpty()) SetText(encoder, TV_PROP_EVENT_QUIT, plan.quitEventName);
        if (plan.batchId != 0) {
            PluginArgs args{};
            args.Value = plan.batchId;
            encoder.Set(TV_PROP_BATCH_ID, &args);
        }
        StripTravexCmds(encoderOptions);
    }

    // An encoder that reads the source itself ends the preparation here. Otherwise the DSPs
    // load, the plug-ins hear that the source is about to open, and the source opens.
    bool ready = encoderLoaded && !TryRawUncompressed(encoderOptions, decoder, encoder);
    if (ready && !LoadDSPEffects()) {
        exitStatus = 1;
        UnloadDSPs();
        ready = false;
    }
    if (ready) {
        dspsLoaded = true;
        dsps.SetQuitEvent(plan.quitEventName);
        CommunicateStage(TV_PHASE_BEFORE_OPEN, decoder, encoder);
        SetDecodeQuality(decoder, encoder);
        if (!plan.stdinIsSource && RegGetInt(u"vMXNoPreCache") == 0) Precache(plan.inFile);

        record.Path = plan.inFile.Text();
        record.RecordKind = TV_RECORD_KIND_PUMP;
        openRecord = &record;
        if (!OpenDecoder(decoder, record)) {
            exitStatus = 1;
            UnloadDSPs();
            dspsLoaded = false;
            ready = false;
        }
    }

    if (ready) {
        ControllerLine(XString(u"MSGTO: vMX: msLen: ") + XString::FormatUInt(static_cast<uint64_t>(record.LengthMs)));
        SetConversionPriority(encoder);

        // An existing output is kept until the new one is complete: the encoder writes beside it
        // under a temporary name. An ".IGNORE" output is no file of ours: no folder, no tags.
        XPath out(plan.outFile);
        const XString extension = out.Extension();
        if (!XString::Equal(extension.Text(), u".IGNORE", 0, true)) {
            // A folder that can't be made shows up as the encoder's own failure to write.
            XPath folder = out.Folder();
            folder.StripBackslashes();
            if (folder != plan.outFile) folder.CreateFolders();
            if (out.Exists()) {
                // Unknown (all zero) if it went in the meantime: a failed run then deletes nothing.
                out.Identity(oldOutput);
                XString name = plan.outFile;
                const int limit = TempNameLimit - extension.Length();
                if (name.Length() > limit) name = name.Left(limit);
                tmpOutFile = name + u".tmp" + extension;
                XRemoveOnFault(tmpOutFile);  // a crash leaves no half-written output behind
            }
        } else {
            plan.writeIdTags = 0;
        }

        // The output's tags, the information block that names the encoder, and the rest of the
        // record the encoder begins with.
        AssembleTags(record, encoder, encoderOptions);
        XIDTags info;
        info.Parse(record.InfoTags, record.InfoTagsSize);
        info.Add(u"_encoder", plan.encoderName);
        info.Serialise(infoTagBlock);
        conv.InfoTags = infoTagBlock.data();
        conv.InfoTagsSize = static_cast<uint32_t>(infoTagBlock.size());
        conv.OutputTags = outputTagBlock.data();
        conv.OutputTagsSize = static_cast<uint32_t>(outputTagBlock.size());
        conv.CommandLine = encoderOptions.Text();
        conv.SourceFile = plan.inFile.Text();
        conv.OutputFile = tmpOutFile.IsEmpty() ? plan.outFile.Text() : tmpOutFile.Text();
        conv.Format = TvFormatOf(&record);

        if (!HandleNonLiveDSPs()) MarkFailed();
        ControllerLine(XString(u"MSGTO: vMX: Action: Encoding '") + out.BaseName() + u"'");
        if (!BeginLiveDSPs()) MarkFailed();

        // Once the encoder has begun, its end calls and the output's handling always follow.
        if (encoder.BeginConversion(&conv) == 0) {
            MarkFailed();
        } else {
            CommunicateStage(TV_PHASE_BEFORE_ENCODING, decoder, encoder);
            LogConversionSetup();
            DebugLog(u"============= CONVERSION BEGIN =============");
            const uint32_t start = XGetTickCount();
            if (!IsFailed()) Pump(encoder);
            elapsedMs = XGetTickCount() - start;
            DebugLog(u"============= CONVERSION END =============");
            EndSteps(decoder, encoder);

            // The DSPs hear of every file the encoder wrote.
            ReportOutputFiles();
            CommunicateStage(TV_PHASE_AFTER_CONVERSION, decoder, encoder);
            AfterConversionDSPs();
        }
        conv.InfoTags = nullptr;
        conv.InfoTagsSize = 0;
        infoTagBlock.clear();
    }

    // Unload in reverse order of loading; the rendered file's reader closes with them.
    if (dspsLoaded) UnloadDSPs();
    encoderOptions.Clear();
    encoder.Unload();
    dsps.CloseRendered();
    conv.Format = nullptr;
    openRecord = nullptr;

    // A batch started by this run (-batchid=auto) holds this one file and ends with it.
    if (batch.batchId != 0) {
        std::vector<clTvBatchFile> files(1);
        files[0].inputPath = plan.inFile;
        files[0].outputPath = plan.outFile;
        files[0].hadErrors = IsFailed();
        batch.EndConversion(files);
    }
    ClosingText();
}
