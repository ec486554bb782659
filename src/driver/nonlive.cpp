// Non-live DSPs need the whole audio at once: the source is decoded into a temporary PCM file,
// every DSP of the chain runs over that file in turn, and the pump then reads the file in
// place of the source.
#include <cstring>

#include "driver/travex.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/guid.h"
#include "plugins/records.h"

namespace {
constexpr const char* NonLiveFunction = "TvTravex::HandleNonLiveDSPs";
constexpr uint32_t PieceMs = 500;
constexpr uint32_t MoveRetryMs = 2000;
constexpr const char16_t* Throttle = u"CPU Throttle";

// 500 ms of the format, whole frames, at least one.
uint64_t PieceBytes(const XWaveFormat& format) {
    uint64_t size = format.FloorToBlock(static_cast<uint64_t>(format.Average()) * PieceMs / 1000);
    return size == 0 ? format.BlockAlign() : size;
}

uint64_t MsOfBytes(const XWaveFormatEx& f, uint64_t bytes) {
    uint64_t divisor = static_cast<uint64_t>(f.nSamplesPerSec) * f.nBlockAlign;
    if (divisor == 0) divisor = 1;
    return bytes * 1000 / divisor;
}
}  // namespace

void TvTravex::MakeTempName(XTempFile& file, const char* prefix) {
    if (plan.tmpFolder.IsEmpty()) {
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
    file.Adopt(plan.tmpFolder + XString(prefix, false) + XString::FormatInt(first) + XString::FormatUInt(second) +
               XString::FormatUInt(third) + u".tmp");
}

bool TvTravex::RenderLiveDSP(DSPEntry& entry, OpenFileRecord& record) {
    entry.Active = 0;
    XWaveFormat format;
    format.SetFromBytes(&record.Format, sizeof record.Format);
    const int64_t wholeLengthMs = record.LengthMs;
    if (entry.dsp.BeginConversion(&conv, entry.params.Text()) == 0) return false;

    XTempFile target;
    MakeTempName(target, "DSP");
    XFile writer;
    XFile reader;
    XBuffer buffer;
    bool ok = true;
    const bool opened = writer.OpenCreate(target) && buffer.Resize(PieceBytes(format), false, false, 0, true) &&
                        reader.OpenRead(nonLiveTemp);
    uint64_t left = opened ? reader.Size() : 0;
    uint64_t done = 0;
    if (!opened) {
        ReportError(u"Error: Reading Temporary Rendered DSP file.", NonLiveFunction);
        g_exitStatus = 1;
        ok = false;
    }
    while (ok && left > 0) {
        const uint32_t want = static_cast<uint32_t>(left < buffer.Size() ? left : buffer.Size());
        if (reader.Read(buffer.Data(), want) != want) {
            ReportError(u"Error: Reading Temporary Rendered DSP file.", NonLiveFunction);
            g_exitStatus = 1;
            ok = false;
            break;
        }
        left -= want;
        AudioBlockRecord block;
        std::memset(&block, 0, sizeof block);
        StoreWaveFormat(block.Format, format);
        block.BlockLengthMs = wholeLengthMs;
        block.Size = want;
        block.Data = buffer.Data();
        block.EndOfStream = left == 0 ? 1 : 0;
        block.PositionMs = static_cast<int64_t>(MsOfBytes(*format.Record(), done));
        done += want;
        if (entry.dsp.PassAudioBlock(&block) == 0) {
            ok = false;
            break;
        }
        if (block.Data != nullptr && block.Size != 0 && !writer.Write(block.Data, block.Size)) {
            ReportError(XString(u"Error: Writing Temporary Rendered DSP file ") + XLastErrorText(), NonLiveFunction);
            g_exitStatus = 1;
            ok = false;
            break;
        }
        if (left == 0) record.Format = block.Format;
    }
    writer.Close();
    reader.Close();
    nonLiveTemp.Delete();
    if (!XMoveWithRetry(target, nonLiveTemp, 0, MoveRetryMs, evtQuit.Handle())) {
        ReportError(XString(u"Error: Copying Temporary Rendered Live-DSP file, over Temp Non-Live DSP file ") +
                        XLastErrorText(),
                    NonLiveFunction);
        g_exitStatus = 1;
        ok = false;
    } else {
        target.Release();
    }
    return ok;
}

bool TvTravex::HandleNonLiveDSPs() {
    if (!dsps.AnyNonLive()) return true;

    MakeTempName(nonLiveTemp, "DSP");
    ControllerLine(u"MSGTO: vMX: Action: Rendering For DSPs...");
    bool result = true;
    XFile writer;
    if (!writer.OpenCreate(nonLiveTemp)) {
        // The reader of the rendered file has no path yet, so the line ends with the colon.
        ReportError(XString(u"Error writing to temporary file ") + XLastErrorText() + u": ", NonLiveFunction);
        g_exitStatus = 1;
        result = false;
    }
    TvIdleWait idle;
    uint64_t total = 0;
    while (result && !evtQuit.IsSet()) {
        evtWatchdog.Set();
        AudioBlockRecord block;
        std::memset(&block, 0, sizeof block);
        if (!DecodeAudioBlock(block)) {
            result = false;
            break;
        }
        if (block.Data != nullptr && block.Size != 0) {
            idle.Reset();
            if (!writer.Write(block.Data, block.Size)) {
                ReportError(XString(u"Error writing to temporary file ") + XLastErrorText() + u": ", NonLiveFunction);
                g_exitStatus = 1;
                result = false;
                break;
            }
            total += block.Size;
            progress.Count(total);
        } else if (!block.EndOfStream) {
            idle.AfterEmptyRead();
        }
        if (block.EndOfStream) break;
    }
    writer.Close();

    if (result && !evtQuit.IsSet()) {
        for (const auto& entry : dsps.Entries()) {
            if (evtQuit.IsSet()) break;
            dsps.SetCurrent(entry.get());
            ControllerLine(XString(u"MSGTO: vMX: Action: Running DSP Effect ") + entry->name);
            if (entry->IsLive && !(entry->name == Throttle)) {
                if (!RenderLiveDSP(*entry, *openRecord)) result = false;
            } else if (entry->dsp.PassNonLive(nonLiveTemp.Text(), TvFormatOf(openRecord), entry->params.Text(),
                                              plan.quitEventName.Text()) == 0) {
                result = false;
            }
            renderedFormat.SetFromBytes(&openRecord->Format, sizeof openRecord->Format);
            const uint64_t size = nonLiveTemp.Size();
            openRecord->LengthBytes = static_cast<int64_t>(size);
            openRecord->LengthMs = static_cast<int64_t>(MsOfBytes(*AsWaveFormat(openRecord->Format), size));
            if (!result) break;
        }
    }
    if (result) {
        // A quit arrives here too; the pump then ends on its first test.
        rendered = std::make_unique<TvRenderedSource>(renderedFormat, logSinks);
        if (!rendered->OpenFile(nonLiveTemp)) {
            rendered.reset();
            ReportError(u"Error reading back from temporary DSP file.", NonLiveFunction);
            result = false;
        }
    }
    ControllerLine(u"MSGTO: vMX: Action: ");
    return result;
}
