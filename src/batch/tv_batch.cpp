#include "batch/tv_batch.h"

#include "foundation/options/xoption_list.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/known_folders.h"
#include "plugins/codec_handler.h"
#include "plugins/dsp_options.h"
#include "tags/id_tags.h"

namespace {
constexpr PluginLogHandles NoLogs{0, 0, 0};
}

clTvBatch::~clTvBatch() { Clear(); }

void clTvBatch::Clear() {
    if (!batchFolder.IsEmpty()) {
        // A folder that can't be removed stays behind in the temporary folder; nothing else
        // depends on its going.
        batchFolder.DeleteFiles(true, nullptr, true);
        batchFolder.Clear();
    }
    batchId = 0;
}

void clTvBatch::MakeId() {
    Clear();
    batchId = XGetTickCount() & 0x7FFFFFFFu;
    batchMutex.Create((XString(u"mutTvBatchID") + XString::FormatUInt(batchId)).Text());
    for (uint32_t counter = 1; batchMutex.existed; ++counter) {
        batchId = (XGetTickCount() + counter) & 0x7FFFFFFFu;
        batchMutex.Create((XString(u"mutTvBatchID") + XString::FormatUInt(batchId)).Text());
    }
    Attach(batchId);
}

void clTvBatch::Attach(uint32_t id) {
    batchId = id;
    batchFolder = XTempFolderPath();
    batchFolder.Append(XString(u"Tv") + XString::FormatUInt(id));
    // A folder that can't be made leaves DSPs without a scratch place; the batch goes on.
    batchFolder.CreateFolders();
}

void clTvBatch::Begin(XString& dspOptionsInOut, const XString& encoder, const XString& options, const void* module) {
    MakeId();
    clTvEncoder probe;
    if (clTvCodecHandler::LoadEncoder(encoder, probe, &NoLogs, module)) {
        // A pass of its own never splits again; a lossless output is not scanned this way.
        if (splitPasses && encoder.ToLower() != u"[replaygain]") {
            PluginArgs lossless{};
            lossless.Text = options.Text();
            if (probe.Get(TV_PROP_IS_LOSSLESS, &lossless) == 0) {
                SplitOff(dspOptionsInOut, u"ReplayGain", &replayGainParams);
            }
            if (encoder != u"Test Conversion" && SplitOff(dspOptionsInOut, u"Verify Output Integrity", nullptr)) {
                verifyAfter = 1;
            }
        }
        PluginArgs args{};
        args.Text = options.Text();
        if (probe.Get(TV_PROP_REQUIRES_DSP, &args) && args.Text2 != nullptr) {
            XString demanded(args.Text2);
            XOptionList present;
            present.Parse(dspOptionsInOut);
            int n = 1;
            XString value;
            while (present.Get(XString::Formatted(u"dspeffect%i", n).Text(), value) && !value.IsEmpty()) ++n;
            if (!dspOptionsInOut.IsEmpty()) dspOptionsInOut.AppendChar(u' ');
            dspOptionsInOut += XString::Formatted(u"-dspeffect%i=\"", n);
            dspOptionsInOut += demanded;
            dspOptionsInOut.AppendChar(u'"');
        }
    }
    probe.Unload();
    dspOptions = dspOptionsInOut;
    encoderName = encoder;
    encoderOptions = options;
}

std::vector<uint8_t> clTvBatch::BuildFileList(const std::vector<clTvBatchFile>& files) {
    XIDTags list;
    int n = 1;
    for (const clTvBatchFile& file : files) {
        const XString stem = XString::Formatted(u"file%i_", n++);
        list.Add(stem + u"in", file.inputPath);
        list.Add(stem + u"out", file.outputPath);
        if (!file.tempOutputPath.IsEmpty()) list.Add(stem + u"outtmp", file.tempOutputPath);
        if (file.hadErrors) list.Add(stem + u"conversionhaderrors", XString());
    }
    std::vector<uint8_t> block;
    list.Serialise(block);
    return block;
}

bool clTvBatch::SplitOff(XString& dspOptionsInOut, const char16_t* name, XString* params) {
    DSPSpecList chain = ParseDSPString(dspOptionsInOut);
    bool found = false;
    DSPSpecList kept;
    for (DSPSpec& dsp : chain) {
        if (!found && dsp.name == name) {
            found = true;
            if (params) *params = dsp.params;
        } else {
            kept.push_back(std::move(dsp));
        }
    }
    if (!found) return false;
    dspOptionsInOut = FormatDSPOptions(kept);
    dspOptionsInOut.TrimLeft();
    return true;
}

void clTvBatch::EndConversion(const std::vector<clTvBatchFile>& files, const void* module) {
    if (batchId != 0) SendBatchEnd(files, module);
    Clear();
}

void clTvBatch::SendBatchEnd(const std::vector<clTvBatchFile>& files, const void* module) {
    if (batchId == 0) return;
    std::vector<uint8_t> block = BuildFileList(files);
    XOptionList chain;
    chain.Parse(dspOptions);
    for (int n = 1; !block.empty(); ++n) {
        XString value;
        if (!chain.Get(XString::Formatted(u"dspeffect%i", n).Text(), value) || value.IsEmpty()) break;
        value.Replace(u"{qt}", u"\"");
        const int equals = value.FindChar(u'=', 1);
        if (equals <= 0) continue;
        const XString name = value.Left(equals - 1);
        const XString params = value.From(equals + 1);
        clTvDSP dsp;
        if (clTvCodecHandler::LoadDSP(name, dsp, &NoLogs, module)) {
            PluginArgs args{};
            args.Value = static_cast<uint32_t>(block.size());
            args.Value64 = batchId;
            args.Text = params.Text();
            args.Text2 = encoderOptions.Text();
            args.Text3 = encoderName.Text();
            args.Data = block.data();
            dsp.Set(TV_PROP_BATCH_END_CONVERSION, &args);  // its answer changes nothing
        }
        dsp.Unload();
    }
}
