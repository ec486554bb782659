#pragma once
// What a tvbatch run will do: the sources found, their output names, and which of them are
// skipped (nobody decodes them, or their output is up to date).
#include <cstdint>
#include <vector>

#include "batch/tvbatch/options.h"
#include "foundation/paths/xpath.h"
#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"

struct TvBatchJob {
    XPath source;
    XPath output;
    uint64_t sourceSize = 0;
    XString albumKey;  // files of one album share it
};

struct TvBatchPlan {
    // Folder walks go no deeper than this (a link to a parent folder would go on forever).
    static constexpr int MaxDepth = 32;

    std::vector<TvBatchJob> jobs;  // to convert, in the order found
    int upToDate = 0;              // skipped: output newer than its source
    int undecodable = 0;           // skipped: no installed decoder reads them
    XStringList missingSources;    // SOURCEs that don't exist
    uint64_t totalBytes = 0;       // of the jobs' sources
};

// Walks the SOURCEs and names the outputs. extension is the encoder's, with its dot.
// decoderExtensions are those the installed decoders claim, with their dots. Reading tags
// (for -name fields and -album=tag) opens each source through its decoder; module names the
// program whose plug-ins are used (null: this one).
void BuildTvBatchPlan(const TvBatchOptions& options, const XString& extension, const XStringList& decoderExtensions,
                      const void* module, TvBatchPlan& plan);

// The extensions that the installed decoders claim, in lower case with their dots.
XStringList TvDecoderExtensions(const void* module);
