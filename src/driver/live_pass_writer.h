#pragma once
// The new file of a live DSP's pass over the rendered file. While the DSP hands every piece
// back as it came (a meter such as ReplayGain), nothing is written: the rendered file already
// holds that audio, and a second copy would cost a pass of writing for nothing. From the first
// piece that differs, the new file is made, the unchanged part copied into it from the rendered
// file, and the rest written behind the DSP.
#include <cstdint>

#include "foundation/files/xbuffer.h"
#include "foundation/files/xwrite_behind.h"
#include "foundation/text/xstring.h"
#include "tonvale/plugin.h"

class TvLivePassWriter {
public:
    // source: the rendered file the pass reads; target: the file it writes, if it must.
    TvLivePassWriter(const XString& source, const XString& target) : source(source), target(target) {}

    // Keeps a copy of the piece the DSP is about to get, to tell afterwards whether it changed.
    bool Before(const AudioBlockRecord& block);
    // The block as the DSP left it. False when the new file can't be made or written; the last
    // error says why.
    bool After(const AudioBlockRecord& block);
    // Waits for the writes; false, with the last error set, when one failed.
    bool Finish();
    void Close() { writer.Close(); }
    // Whether the new file was made: false means the rendered file stands as the pass's result.
    bool Written() const { return diverged; }

private:
    bool StartWriting();  // makes the file and copies the unchanged part into it

    const XString& source;
    const XString& target;
    XWriteBehind writer;
    XBuffer shadow;
    uint32_t shadowSize = 0;
    TvWaveFormatExtensible shadowFormat{};
    uint64_t unchanged = 0;  // bytes handed back as they came, before the first change
    bool diverged = false;
};
