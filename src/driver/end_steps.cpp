// After the pump: the end calls, the output file's fate (the temporary name over the old
// output), its checks and tags, the list of files written, and the closing text.
#include "driver/travex.h"
#include "foundation/files/xfile.h"
#include "foundation/format/number_format.h"
#include "foundation/paths/xpath.h"
#include "foundation/platform/faults.h"
#include "foundation/platform/last_error.h"
#include "tags/tag_writer.h"

namespace {
constexpr uint32_t MoveRetryMs = 2000;

// Front ends mark an output that is no real file by ".iGnore" written just so; the debug log's
// size checks match that exact text, so a real file that merely has ".ignore" in its name still
// has its size logged. The extension test below (no output check) ignores case on purpose.
bool IgnoredName(const XString& path) { return path.Find(u".iGnore", 1) > 0; }

XString SizeText(const XString& path) { return XString::FormatUInt(XPath(path).Size()); }
}  // namespace

XString TvOverwriteErrorText(const XString& outFile) {
    return XString(u"Error overwriting file ") + XLastErrorTextIfAny() + u" '" + outFile + u"'";
}

void TvTravex::EndSteps(clTvDecoder& decoder, clTvEncoder& enc) {
    CommunicateStage(TV_PHASE_END_ENCODING, decoder, enc);
    if (!plan.silent) {
        PrintLine(XString(), true);
        PrintLine(XString(), true);
    }
    const uint32_t elapsed = elapsedMs == 0 ? 1 : elapsedMs;
    realtimeFactor = static_cast<double>(openRecord->LengthMs) / static_cast<double>(elapsed);

    if (!CloseDecoder()) MarkFailed();
    if (evtQuit.IsSet()) MarkFailed();
    if (evtAfterConvSetError.IsSet()) MarkFailed();
    if (!EndLiveDSPs()) MarkFailed();
    uint32_t tagFlag = 0;
    if (enc.EndConversion(&conv, &tagFlag) == 0) MarkFailed();
    if (!plan.writeIdTags) tagFlag = 0;

    const XString& written = tmpOutFile.IsEmpty() ? plan.outFile : tmpOutFile;
    if (debugFile.IsOpen() && !IgnoredName(written)) {
        DebugLog(XString::Formatted(u"File Size Check %s: %s bytes   Filename: %s",
                                    tmpOutFile.IsEmpty() ? u"" : u"(before overwrite final)", SizeText(written).Text(),
                                    written.Text()));
    }

    if (!tmpOutFile.IsEmpty()) {
        XPath temp(tmpOutFile);
        // Runs converting onto one existing name share this temporary name: what lies under it
        // now is the file this run deals with, and only that file is ever deleted by it.
        XFileIdentity written;
        temp.Identity(written);
        bool moved = false;
        if (temp.Size() == 0 || IsFailed()) {
            tagFlag = 0;
        } else if (!evtQuit.IsSet()) {
            // The new output takes the name and the old one goes in one step: other runs
            // converting onto the same name never find it empty, so their checks and tags
            // don't fail, and a move that fails here has deleted no one's file.
            if (XMoveWithRetry(temp, plan.outFile, XMoveFlags::ReplaceExisting, MoveRetryMs, evtQuit.Handle())) {
                conv.OutputFile = plan.outFile.Text();
                moved = true;
            } else {
                ReportError(TvOverwriteErrorText(plan.outFile), RunFunction);
                MarkFailed();
                tagFlag = 0;
                // A failed move leaves no old output either, but only the one this run found:
                // a file another run has put under the name since is a whole result and stays.
                XPath(plan.outFile).DeleteIfSame(oldOutput);
            }
        } else {
            tagFlag = 0;
        }
        // After a move, or once another run took it, the name is free: a file there now is
        // another run's temporary.
        if (!moved) temp.DeleteIfSame(written);
        // The name is dealt with: a later crash of this process must not delete what lies there.
        XForgetOnFault(tmpOutFile);
    }

    dsps.DiscardRendered();

    XPath out(plan.outFile);
    if (!XString::Equal(out.Extension().Text(), u".iGnore", 0, true)) {
        XFile check;
        const bool opened = check.OpenRead(plan.outFile);
        const uint64_t size = opened ? check.Size() : 0;
        check.Close();
        if (size < 1) {
            if (!opened) {
                ReportError(XString::Formatted(
                    out.Exists() ? u"Encoder wrote inaccessible file: %s" : u"Encoder output file does not exist: %s",
                    plan.outFile.Text()));
            } else {
                ReportError(XString::Formatted(u"Encoder created a blank file: %s", plan.outFile.Text()));
            }
        }
    }

    if (tagFlag) {
        if (debugFile.IsOpen() && !IgnoredName(plan.outFile)) {
            DebugLog(XString::Formatted(u"File Size Check (before ID Tags Written): %s bytes   Filename: %s",
                                        SizeText(plan.outFile).Text(), plan.outFile.Text()));
        }
        ControllerLine(XString(u"MSGTO: vMX: Action: Writing ID Tags '") + out.BaseName() + u"'");
        XCodecTagDecoder tagDecoder;
        XTagWriterContext context;
        context.logs = logSinks;
        context.silent = plan.silent != 0;
        context.print = [this](const XString& text, bool endLine) { PrintLine(text, endLine); };
        if (!XWriteIDTags(tagDecoder, context, plan.outFile, plan.tagLoadFile, outputTagBlock.data(),
                          static_cast<uint32_t>(outputTagBlock.size()))) {
            ReportError(XString(u"Unable to tag file '") + plan.outFile + u"'", RunFunction);
            MarkFailed();
        }
    }
}

void TvTravex::ReportOutputFiles() {
    outputNames.Clear();
    XIDTags info;
    if (conv.InfoTags != nullptr) info.Parse(conv.InfoTags, conv.InfoTagsSize);
    for (int n = 1;; ++n) {
        const XString value = info.GetValue(XString::Formatted(u"FileName%i", n));
        if (value.IsEmpty()) break;
        outputNames.Add(value);
    }
    if (outputNames.IsEmpty()) {
        outputNames.Add(conv.OutputFile != nullptr ? XString(conv.OutputFile) : plan.outFile);
        return;
    }
    DebugLog(u"Multi-FileNames Reported Back to Travex:");
    if (plan.commandFileMode) {
        for (int64_t i = 0; i < outputNames.Count(); ++i) {
            DebugLog(outputNames[i]);
            PrintLine(XString(u"MSGTO: vMX: FileName: ") + outputNames[i], true);
        }
        DebugLog(XString());
    }
}

void TvTravex::ClosingText() {
    XString closing;
    // Nobody reads the text of a silent run without a debug log: the user's locale, which
    // the duration's words need, is then not loaded.
    if (elapsedMs != 0 && (!plan.silent || debugFile.IsOpen())) {
        closing = XString(u"Conversion completed in ") + XFormatDuration(elapsedMs, XDuration::Words);
        if (realtimeFactor != 0.0) {
            closing += u" x";
            closing += realtimeFactor >= 10.0
                           ? XString::FormatUInt(static_cast<uint64_t>(realtimeFactor))
                           : XString::FormatDouble(static_cast<int64_t>(realtimeFactor * 10) / 10.0, 1, true);
            closing += u" realtime encoding";
        }
        DebugLog(closing);
        if (debugFile.IsOpen() && !IgnoredName(plan.outFile)) {
            DebugLog(XString::Formatted(u"File Size Check (travex core exit): %s bytes   Filename: %s",
                                        SizeText(plan.outFile).Text(), plan.outFile.Text()));
        }
    }
    FlushOutputPipes();
    if (!plan.silent) PrintLine(IsFailed() ? XString(u"Conversion Failed.") : closing, true);
    if (IsFailed()) exitStatus = 1;
}
