#pragma once
// The command line of tvbatch:
//   tvbatch [options] -convert_to=ENCODER [encoder options] SOURCE... -o OUTDIR
// Its own options are taken here; every other "-name[=value]" is an encoder option that goes
// to each travex child as it stands, and every argument without a dash is a SOURCE.
#include <cstdint>

#include "batch/tvbatch/name_pattern.h"
#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"

struct TvBatchOptions {
    static constexpr int MaxWorkers = 64;

    enum class Album { Folder, Tag };

    XString encoderName;
    XString encoderOptions;  // option text for travex, values quoted
    XString dspOptions;      // -dspeffectN="name=params" text, its quotes as "{qt}"
    XStringList sources;
    XString outputFolder;
    XString namePatternText;  // empty: {relpath}
    TvNamePattern namePattern;
    int workers = 0;  // 0: one per processor
    Album album = Album::Folder;
    XString priority;  // of the children; empty: as tvbatch's own
    bool force = false;
    bool dryRun = false;
    bool help = false;
};

// Arguments without the program's name. False with a message for the person who typed them;
// -help alone is true with help set.
bool ParseTvBatchArguments(const XStringList& arguments, TvBatchOptions& options, XString& error);

// The usage text.
XString TvBatchUsage();
