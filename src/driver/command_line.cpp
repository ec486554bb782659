// The run's options: splitting the command line, command files, parsing into the driver's
// members, and the encoder's share of them.
#include <utility>

#include "driver/travex.h"

namespace {

// Options the core consumes; dspeffect1 to dspeffect<count of the chain> join them.
constexpr const char16_t* CoreOptions[] = {
    u"infile",
    u"outfile",
    u"convert_to",
    u"tvcmd",
    u"tvcmd8",
    u"evtquit",
    u"evtafterconvseterror",
    u"evtwatchdog",
    u"priority",
    u"silent",
    u"errorfile",
    u"processor",
    u"sourcefreq",
    u"sourcebits",
    u"sourcechannels",
    u"sourcelength",
    u"idtags",
    u"noidtag",
    u"tag",
    u"shrbytesencoded",
    u"batchid",
    u"tmpfolder",
    u"fntousefortagloaddec",
    u"DecoderSet",
    u"dsppreset",
};

bool IsCoreOption(const XString& name, int64_t dspCount) {
    for (const char16_t* core : CoreOptions) {
        if (XString::Equal(name.Text(), core, 0, true)) return true;
    }
    for (int64_t i = 1; i <= dspCount; ++i) {
        XString effect = XString::Formatted(u"dspeffect%i", static_cast<int>(i));
        if (XString::Equal(name.Text(), effect.Text(), 0, true)) return true;
    }
    return false;
}

}  // namespace

XString TvEncoderOptions(const XOptionList& options, int64_t dspCount) {
    XString out;
    const XStringList& names = options.Names();
    const XStringList& values = options.Values();
    for (int64_t i = 0; i < names.Count(); ++i) {
        if (IsCoreOption(names[i], dspCount)) continue;
        out.AppendFast(u" -");
        out.AppendFast(names[i]);
        if (!values[i].IsEmpty()) {
            out.AppendFast(u"=\"");
            out.AppendFast(values[i]);
            out.AppendChar(u'"');
        }
    }
    return out;
}

void TvTravex::StripTravexCmds(XString& outOptions) const {
    outOptions = TvEncoderOptions(*this, static_cast<int64_t>(dsps.Count()));
}

void TvTravex::SplitCommandLine(const XString& line) {
    DebugLog(u"Splitting Command Line:");
    DebugLog(line);
    // Skip the program's name: quoted up to its closing quote, otherwise up to a blank.
    int skip = line.GetAt(1) == u'"' ? line.FindChar(u'"', 2) : line.FindChar(u' ', 1);
    Parse(line, skip > 0 ? skip + 1 : 1);
}

bool TvTravex::ReadCommandFiles() {
    XString path;
    if (Get(u"tvcmd", path) && !path.IsEmpty()) return ReadTvCommandFile(path, false);
    if (Get(u"tvcmd8", path) && !path.IsEmpty()) return ReadTvCommandFile(path, true);
    return true;
}

bool TvTravex::ParseCommandLine() {
    // From here on errors land in the errorfile, when one is named.
    XString errorFile;
    if (Get(u"errorfile", errorFile) && !errorFile.IsEmpty()) {
        plan.errorFileGiven = console.OpenErrorFile(errorFile) ? 1 : 0;
    }

    switch (TvReadRunPlan(*this, plan)) {
        case TvPlanProblem::None:
            break;
        case TvPlanProblem::Usage:
            if (plan.commandFileMode) {
                ReportError(u"Error missing infile & outfile & convert_to.", ParseFunction);
            } else {
                ShowUsage();
            }
            return false;
        case TvPlanProblem::NoEncoder:
            ReportError(u"Error no encoder specified.", ParseFunction);
            return false;
        case TvPlanProblem::NoInput:
            ReportError(u"Error no input file specified", ParseFunction);
            return false;
        case TvPlanProblem::NoOutput:
            ReportError(u"Error no ouput file specified", ParseFunction);
            return false;
    }

    progress.SetMode(plan.commandFileMode != 0, plan.silent != 0);
    routes.SetMode(plan.commandFileMode != 0, plan.silent != 0);
    // The quit event's name also goes to every plug-in.
    if (!plan.quitEventName.IsEmpty()) evtQuit.Create(plan.quitEventName.Text());
    if (!plan.afterConvErrorEvent.IsEmpty()) evtAfterConvSetError.Create(plan.afterConvErrorEvent.Text());
    if (!plan.watchdogEvent.IsEmpty()) evtWatchdog.Create(plan.watchdogEvent.Text());
    if (!plan.processor.IsEmpty()) BindToProcessor(plan.processor);
    if (!plan.sharedCounter.IsEmpty()) progress.OpenCounter(plan.sharedCounter);

    DSPSpecList chain = CollectDSPSpecs();

    if (plan.batchLeader) {
        // dsps is still empty here, so this copy of the options keeps its dspeffect entries:
        // that is the form in which the batch stores them.
        dspCommandLine = FormatDSPOptions(chain);
        XString options;
        StripTravexCmds(options);
        // The batch may add a DSP that the encoder demands, so the chain is read back.
        batch.Begin(dspCommandLine, plan.encoderName, options);
        plan.batchId = batch.batchId;
        chain = ParseDSPString(dspCommandLine);
    }

    MoveReplayGainLast(chain);
    for (DSPSpec& dsp : chain) dsps.Add(std::move(dsp.name), std::move(dsp.params));
    return true;
}

DSPSpecList TvTravex::CollectDSPSpecs() {
    DSPSpecList chain;
    XString value;
    if (Get(u"dsppreset", value) && !value.IsEmpty()) {
        XString line;
        // An unreadable preset is no error and adds nothing.
        if (ReadPresetLine(value, line)) chain = ParseDSPString(line);
    }
    ParseDSPOptions(*this, chain);
    return chain;
}
