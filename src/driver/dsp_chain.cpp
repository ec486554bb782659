#include "driver/dsp_chain.h"

#include <cstddef>
#include <cstring>

#include "driver/live_pass_writer.h"
#include "foundation/files/xwrite_behind.h"
#include "foundation/log/xdebug.h"
#include "foundation/platform/guid.h"
#include "foundation/platform/last_error.h"
#include "plugins/codec_handler.h"
#include "plugins/records.h"

namespace {
constexpr const char* LoadFunction = "TvTravex::LoadDSPEffects";
constexpr const char* NonLiveFunction = "TvTravex::HandleNonLiveDSPs";
constexpr uint32_t MoveRetryMs = 2000;
constexpr const char16_t* Throttle = u"CPU Throttle";

uint64_t MsOfBytes(const XWaveFormatEx& f, uint64_t bytes) {
    uint64_t divisor = static_cast<uint64_t>(f.nSamplesPerSec) * f.nBlockAlign;
    if (divisor == 0) divisor = 1;
    return bytes * 1000 / divisor;
}
}  // namespace

void TvDspChain::Add(XString name, XString params) {
    auto entry = std::make_unique<DSPEntry>();
    entry->name = std::move(name);
    entry->params = std::move(params);
    entries.push_back(std::move(entry));
}

bool TvDspChain::AnyNonLive() const {
    for (const auto& entry : entries) {
        if (!entry->IsLive) return true;
    }
    return false;
}

bool TvDspChain::Load(const PluginLogHandles& logs, uint32_t batchId, uint8_t& replayGainWanted) {
    // Last to first, so that an entry removed on the way leaves the walk undisturbed.
    for (size_t i = entries.size(); i-- > 0;) {
        DSPEntry& entry = *entries[i];
        current = &entry;
        clTvDSP probe;
        if (!clTvCodecHandler::LoadDSP(entry.name, probe, &logs, nullptr, clTvCodecHandler::LibrarySuffix)) {
            XDebugError(XString(u"Error: Unable to load DSP Effect '") + entry.name + u"'.", logs, LoadFunction);
            return false;
        }
        PluginArgs args{};
        args.Text = entry.params.Text();
        entry.IsLive = probe.Get(TV_PROP_IS_LIVE, &args) != 0 ? 1 : 0;
        PluginArgs replayGain{};
        replayGain.Text = entry.params.Text();
        if (probe.Get(TV_PROP_SEND_OVER_REPLAYGAIN_TAGS, &replayGain) != 0) replayGainWanted = 1;
        if (clTvCodecHandler::LoadDSP(entry.name, entry.dsp, &logs, nullptr, clTvCodecHandler::LibrarySuffix)) {
            if (batchId != 0) {
                PluginArgs batchArgs{};
                batchArgs.Value = batchId;
                entry.dsp.Set(TV_PROP_BATCH_ID, &batchArgs);
            }
        } else {
            // A second load that fails drops the entry without a word: the probe worked, so
            // the effect exists but can't serve this run twice.
            entry.dsp.Unload();
            entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(i));
            current = nullptr;
        }
        probe.Unload();
    }
    return true;
}

void TvDspChain::SetQuitEvent(const XString& name) {
    if (name.IsEmpty()) return;
    for (auto& entry : entries) {
        if (!entry->Active) continue;
        PluginArgs args{};
        args.Text = name.Text();
        entry->dsp.Set(TV_PROP_EVENT_QUIT, &args);
    }
}

bool TvDspChain::BeginLive(ConversionRecord& conv) {
    bool ok = true;
    for (auto& entry : entries) {
        if (!entry->IsLive || !entry->Active) continue;
        if (entry->dsp.BeginConversion(&conv, entry->params.Text()) == 0) ok = false;
    }
    return ok;
}

bool TvDspChain::PassLive(AudioBlockRecord& block) {
    bool ok = true;
    for (auto& entry : entries) {
        if (!entry->IsLive || !entry->Active) continue;
        if (entry->dsp.PassAudioBlock(&block) == 0) ok = false;
    }
    return ok;
}

bool TvDspChain::EndLive(ConversionRecord& conv) {
    bool ok = true;
    // Rendered live DSPs are ended too: their begin came during rendering.
    for (auto& entry : entries) {
        if (!entry->IsLive) continue;
        if (entry->dsp.EndConversion(&conv) == 0) ok = false;
    }
    return ok;
}

bool TvDspChain::AfterConversion(const ConversionRecord& conv, const std::function<bool()>& isFailed,
                                 const XStringList& outputNames) {
    bool ok = true;
    for (auto& entry : entries) {
        for (int64_t n = 0; n < outputNames.Count(); ++n) {
            ConversionRecord copy{};
            std::memcpy(&copy, &conv, offsetof(ConversionRecord, Failed));
            // Failed last and on its own: the output thread may be setting it meanwhile.
            copy.Failed = !ok || isFailed() ? 1 : 0;
            copy.OutputFile = outputNames[n].Text();
            if (entry->dsp.AfterConversion(&copy) == 0) ok = false;
        }
    }
    return ok;
}

void TvDspChain::Unload() {
    for (auto& entry : entries) entry->dsp.Unload();
}

void TvDspChain::MakeTempName(XTempFile& file, const char* prefix, const XString& tmpFolder) {
    if (tmpFolder.IsEmpty()) {
        file.Create(prefix);
        return;
    }
    uint8_t guid[16] = {};
    // Without a random source the name is still unique enough for one run: all zero fields.
    XNewGuid(guid);
    int32_t first;
    uint16_t second;
    uint16_t third;
    std::memcpy(&first, guid, 4);
    std::memcpy(&second, guid + 4, 2);
    std::memcpy(&third, guid + 6, 2);
    file.Adopt(tmpFolder + XString(prefix, false) + XString::FormatInt(first) + XString::FormatUInt(second) +
               XString::FormatUInt(third) + u".tmp");
}

bool TvDspChain::RenderSource(TvRenderRun& run) {
    // Small decoded blocks gather into large writes, made beside the decoding.
    XWriteBehind writer;
    // The reader of the rendered file has no path yet, so a failure's line ends with the colon.
    const auto writeFailed = [&run] {
        XDebugError(XString(u"Error writing to temporary file ") + XLastErrorText() + u": ", run.logs, NonLiveFunction);
        return false;
    };
    if (!writer.Open(nonLiveTemp)) return writeFailed();
    TvIdleWait idle;
    uint64_t total = 0;
    bool ok = true;
    while (!run.quit.IsSet()) {
        run.watchdog.Set();
        AudioBlockRecord block;
        std::memset(&block, 0, sizeof block);
        if (!run.decode(block)) {
            ok = false;
            break;
        }
        if (block.Data != nullptr && block.Size != 0) {
            idle.Reset();
            if (!writer.Write(block.Data, block.Size)) {
                ok = writeFailed();
                break;
            }
            total += block.Size;
            run.progress.Count(total);
        } else if (!block.EndOfStream) {
            idle.AfterEmptyRead();
        }
        if (block.EndOfStream) break;
    }
    if (ok && !writer.Finish()) ok = writeFailed();
    writer.Close();
    return ok;
}

bool TvDspChain::RenderLiveDSP(DSPEntry& entry, TvRenderRun& run) {
    entry.Active = 0;
    XWaveFormat format;
    format.SetFromBytes(&run.record.Format, sizeof run.record.Format);
    const int64_t wholeLengthMs = run.record.LengthMs;
    if (entry.dsp.BeginConversion(&run.conv, entry.params.Text()) == 0) return false;

    XTempFile target;
    MakeTempName(target, "DSP", run.tmpFolder);
    // In place, a DSP that changes the audio where it lies changes the rendered file itself.
    TvPieceReader reader;
    const uint64_t pieceBytes = TvRenderPieceBytes(format);
    bool ok = reader.OpenInPlace(nonLiveTemp, pieceBytes) || reader.Open(nonLiveTemp, pieceBytes);
    TvLivePassWriter writer(nonLiveTemp, target, reader.InPlace());
    const auto readFailed = [&run] {
        XDebugError(u"Error: Reading Temporary Rendered DSP file.", run.logs, NonLiveFunction);
        return false;
    };
    if (!ok) readFailed();
    const auto writeFailed = [&run] {
        XDebugError(XString(u"Error: Writing Temporary Rendered DSP file ") + XLastErrorText(), run.logs,
                    NonLiveFunction);
        return false;
    };
    uint64_t done = 0;
    bool releasing = false;
    while (ok && !reader.AtEnd()) {
        uint8_t* data = nullptr;
        uint32_t size = 0;
        if (!reader.Next(data, size)) {
            ok = readFailed();
            break;
        }
        AudioBlockRecord block;
        std::memset(&block, 0, sizeof block);
        StoreWaveFormat(block.Format, format);
        block.BlockLengthMs = wholeLengthMs;
        block.Size = size;
        block.Data = data;
        block.EndOfStream = reader.AtEnd() ? 1 : 0;
        block.PositionMs = static_cast<int64_t>(MsOfBytes(*format.Record(), done));
        done += size;
        if (!writer.Before(block)) {
            ok = writeFailed();
            break;
        }
        if (entry.dsp.PassAudioBlock(&block) == 0) {
            ok = false;
            break;
        }
        if (!writer.After(block)) {
            ok = writeFailed();
            break;
        }
        // Once the pass has a file of its own, what it has read of the old one is done with.
        if (writer.Written() && !releasing) {
            reader.ReleaseBehind();
            releasing = true;
        }
        if (block.EndOfStream) run.record.Format = block.Format;
    }
    // The views of the pieces go first: the rendered file may get a new length.
    reader.Close();
    if (ok && !writer.Finish()) ok = writeFailed();
    writer.Close();
    // A DSP whose audio the rendered file could take left it as the pass's result.
    if (!writer.Written()) return ok;
    nonLiveTemp.Delete();
    if (!XMoveWithRetry(target, nonLiveTemp, 0, MoveRetryMs, run.quit.Handle())) {
        XDebugError(XString(u"Error: Copying Temporary Rendered Live-DSP file, over Temp Non-Live DSP file ") +
                        XLastErrorText(),
                    run.logs, NonLiveFunction);
        ok = false;
    } else {
        target.Release();
    }
    return ok;
}

bool TvDspChain::HandleNonLiveDSPs(TvRenderRun& run) {
    if (!AnyNonLive()) return true;

    MakeTempName(nonLiveTemp, "DSP", run.tmpFolder);
    run.routes.ControllerLine(u"MSGTO: vMX: Action: Rendering For DSPs...");
    bool result = RenderSource(run);

    XWaveFormat renderedFormat;
    if (result && !run.quit.IsSet()) {
        for (const auto& entry : entries) {
            if (run.quit.IsSet()) break;
            current = entry.get();
            run.routes.ControllerLine(XString(u"MSGTO: vMX: Action: Running DSP Effect ") + entry->name);
            if (entry->IsLive && !(entry->name == Throttle)) {
                if (!RenderLiveDSP(*entry, run)) result = false;
            } else if (entry->dsp.PassNonLive(nonLiveTemp.Text(), TvFormatOf(&run.record), entry->params.Text(),
                                              run.quitEventName.Text()) == 0) {
                result = false;
            }
            const uint64_t size = nonLiveTemp.Size();
            run.record.LengthBytes = static_cast<int64_t>(size);
            run.record.LengthMs = static_cast<int64_t>(MsOfBytes(*AsWaveFormat(run.record.Format), size));
            if (!result) break;
        }
    }
    if (result) {
        // A quit arrives here too; the pump then ends on its first test.
        renderedFormat.SetFromBytes(&run.record.Format, sizeof run.record.Format);
        rendered = std::make_unique<TvRenderedSource>(renderedFormat, run.logs);
        if (!rendered->OpenFile(nonLiveTemp)) {
            rendered.reset();
            XDebugError(u"Error reading back from temporary DSP file.", run.logs, NonLiveFunction);
            result = false;
        }
    }
    run.routes.ControllerLine(u"MSGTO: vMX: Action: ");
    return result;
}

void TvDspChain::DiscardRendered() {
    rendered.reset();
    if (!nonLiveTemp.IsEmpty()) nonLiveTemp.Delete();
}
