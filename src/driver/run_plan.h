#pragma once
// The run as its options ask for it: filled once while the command line is parsed, then only
// read while the run acts on it.
#include <cstdint>

#include "foundation/options/xoption_list.h"
#include "foundation/text/xstring.h"

struct TvRunPlan {
    XString encoderName;  // convert_to
    XString inFile;       // "-" for raw PCM on standard input
    XString outFile;
    XString tagLoadFile;    // whose decoder reads the written tags: outFile or fntousefortagloaddec
    XString quitEventName;  // evtquit, also handed to every plug-in
    XString tmpFolder;      // with a trailing separator when given
    uint8_t stdinIsSource = 0;
    uint8_t writeIdTags = 0;
    uint8_t silent = 0;           // silent, or implied by command-file mode
    uint8_t commandFileMode = 0;  // a tvcmd or tvcmd8 file gave the options
    uint8_t errorFileGiven = 0;
    uint8_t batchLeader = 0;  // batchid=auto: this run begins and ends a batch of its own
    uint32_t batchId = 0;
    // Names the run acts on once the plan is read; each empty when its option is not given.
    XString errorFile;
    XString afterConvErrorEvent;
    XString watchdogEvent;
    XString processor;
    XString sharedCounter;
};

// Why the options can't make a run, in the order a user is told.
enum class TvPlanProblem { None, Usage, NoEncoder, NoInput, NoOutput };

// Reads the run's plan from the options, with no effect outside plan. commandFileMode is
// already set in plan when a command file gave the options.
TvPlanProblem TvReadRunPlan(const XOptionList& options, TvRunPlan& plan);
