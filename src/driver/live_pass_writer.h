#pragma once
// Where a live DSP's pass over the rendered file leaves its audio. A new file costs a pass of
// writing and as much fresh memory as the file is long, so one is made only when the rendered
// file can't take the audio itself:
// - The DSP hands every piece back as it came (a meter such as ReplayGain): the rendered file
//   already holds that audio, and nothing is written.
// - The pieces are the rendered file's own bytes (read in place), and the audio the DSP gives
//   back never runs ahead of what it was given (a gain, a lower rate, fewer channels or bits):
//   it goes into the rendered file behind the reading, and the file is cut to its length at
//   the end. A last piece may run past the rest, there being nothing left to read there.
// From the first piece that is neither, the new file is made, the part the rendered file holds
// copied into it, and the rest written behind the DSP.
#include <cstdint>

#include "foundation/files/xbuffer.h"
#include "foundation/files/xfile.h"
#include "foundation/files/xwrite_behind.h"
#include "foundation/text/xstring.h"
#include "tonvale/plugin.h"

class TvLivePassWriter {
public:
    // source: the rendered file the pass reads; target: the file it writes, if it must;
    // piecesInPlace: the pieces are views of source itself.
    TvLivePassWriter(const XString& source, const XString& target, bool piecesInPlace = false)
        : source(source), target(target), inPlace(piecesInPlace) {}

    // Notes the piece the DSP is about to get (and copies it, unless it is in place), to tell
    // afterwards where what the DSP made of it must go.
    bool Before(const AudioBlockRecord& block);
    // The block as the DSP left it. False when a file can't be made or written; the last error
    // says why.
    bool After(const AudioBlockRecord& block);
    // Waits for the writes and gives the rendered file its new length; false, with the last
    // error set, when either failed. In place, the views of the pieces must be gone by then.
    bool Finish();
    void Close();
    // Whether the new file was made: false means the rendered file stands as the pass's result.
    bool Written() const { return diverged; }

private:
    bool PutInPlace(const AudioBlockRecord& block);
    bool FinishOverwriting();  // waits for the writes into the rendered file
    bool StartWriting();       // makes the file and copies what the rendered file holds into it

    const XString& source;
    const XString& target;
    const bool inPlace;
    uint8_t* piece = nullptr;  // in place: where the piece lies in the view
    uint64_t pieceStart = 0;
    uint64_t given = 0;       // bytes handed to the DSP, the piece at hand included
    XWriteBehind overwriter;  // in place: audio written into the rendered file behind the reading
    bool overwriting = false;
    XFile rendered;  // in place: to cut the rendered file to its new length
    XWriteBehind writer;
    XBuffer shadow;
    uint32_t shadowSize = 0;
    TvWaveFormatExtensible shadowFormat{};
    uint64_t kept = 0;  // bytes the rendered file holds as the pass made them
    bool diverged = false;
};
