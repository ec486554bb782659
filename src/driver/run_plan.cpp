#include "driver/run_plan.h"

#include "foundation/platform/path_rules.h"

namespace {
// The value of an option that is given with one; empty otherwise.
XString ValueOf(const XOptionList& options, const char16_t* name) {
    XString value;
    options.Get(name, value);
    return value;
}
}  // namespace

TvPlanProblem TvReadRunPlan(const XOptionList& options, TvRunPlan& plan) {
    plan.errorFile = ValueOf(options, u"errorfile");
    plan.encoderName = ValueOf(options, u"convert_to");
    plan.inFile = ValueOf(options, u"infile");
    plan.stdinIsSource = plan.inFile == u"-" ? 1 : 0;
    plan.outFile = ValueOf(options, u"outfile");
    plan.tagLoadFile = ValueOf(options, u"fntousefortagloaddec");
    if (plan.tagLoadFile.IsEmpty()) plan.tagLoadFile = plan.outFile;

    if ((plan.encoderName.IsEmpty() && plan.inFile.IsEmpty() && plan.outFile.IsEmpty()) || options.Has(u"help")) {
        return TvPlanProblem::Usage;
    }
    if (plan.encoderName.IsEmpty()) return TvPlanProblem::NoEncoder;
    if (plan.inFile.IsEmpty()) return TvPlanProblem::NoInput;
    if (plan.outFile.IsEmpty()) return TvPlanProblem::NoOutput;

    plan.writeIdTags = options.Has(u"noidtag") ? 0 : 1;
    if (options.Has(u"silent") || plan.commandFileMode) plan.silent = 1;
    plan.quitEventName = ValueOf(options, u"evtquit");
    plan.afterConvErrorEvent = ValueOf(options, u"evtafterconvseterror");
    const XString batch = ValueOf(options, u"batchid");
    if (XString::Equal(batch.Text(), u"auto", 0, true)) {
        plan.batchLeader = 1;
    } else if (!batch.IsEmpty()) {
        plan.batchId = static_cast<uint32_t>(batch.ToInt());
    }
    plan.watchdogEvent = ValueOf(options, u"evtwatchdog");
    plan.processor = ValueOf(options, u"processor");
    plan.sharedCounter = ValueOf(options, u"shrbytesencoded");
    plan.tmpFolder = ValueOf(options, u"tmpfolder");
    if (!plan.tmpFolder.IsEmpty()) plan.tmpFolder.EnsureTrailing(XPathSep);
    return TvPlanProblem::None;
}
