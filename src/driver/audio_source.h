#pragma once
// Where a run's audio comes from: a decoder plug-in, raw PCM on standard input, or the file
// that non-live rendering left. The pump and the rendering read each alike.
#include <cstdint>
#include <memory>

#include "foundation/files/xbuffer.h"
#include "foundation/files/xfile.h"
#include "foundation/files/xfile_view.h"
#include "foundation/files/xread_ahead.h"
#include "foundation/options/xoption_list.h"
#include "foundation/paths/xtemp_file.h"
#include "foundation/platform/handle.h"
#include "foundation/wave/xwave_format.h"
#include "plugins/tv_decoder.h"
#include "tonvale/plugin.h"

class TvAudioSource {
public:
    virtual ~TvAudioSource() = default;
    // Fills record; false when the source can't be read (the reason is reported).
    virtual bool Open(OpenFileRecord& record) = 0;
    // The next block. An empty block without EndOfStream means nothing has come yet.
    // encodedBytes, the bytes the run has encoded so far, gives the block's position where
    // the source has none of its own. False fails the run.
    virtual bool Read(AudioBlockRecord& block, uint64_t encodedBytes) = 0;
    virtual bool Close(ConversionRecord& conv) = 0;
};

// Fills block with size bytes of PCM at data in format; its position is the bytes encoded so far.
void TvFillBlock(AudioBlockRecord& block, const XWaveFormat& format, void* data, uint32_t size, uint64_t encodedBytes);

// Successive empty reads wait none, a yield, 25, 25, then 50 ms each: a source that is
// slow to deliver is polled without burning a processor.
class TvIdleWait {
public:
    void Reset() { index = 0; }
    void AfterEmptyRead();

private:
    int index = 0;
};

// A decoder plug-in, opened with the run's DecoderSet options and quit event.
std::unique_ptr<TvAudioSource> TvMakeDecoderSource(clTvDecoder& decoder, const XOptionList& options,
                                                   const XString& quitEventName);

// Raw PCM on standard input (input), its format from the source* options, tags from an idtags
// file.
std::unique_ptr<TvAudioSource> TvMakeStdinSource(const XOptionList& options, const PluginLogHandles& logs,
                                                 XFileHandle input);

// A raw PCM file handed out in pieces of a fixed size. Read, it is read ahead in large chunks
// and each piece points into the reader's chunk: few system calls, no copy however small the
// pieces are, and the reading itself beside the caller's work on the pieces before. Opened in
// place, each piece is the file's own bytes, seen through a view of a large window of it:
// whatever the caller changes there is changed in the file, and nothing is copied at all.
class TvPieceReader {
public:
    // Opens path for pieces of pieceBytes (whole frames); false when it can't be opened or the
    // buffers can't be had.
    bool Open(const XString& path, uint64_t pieceBytes);
    // The same with the pieces in place; false, the reader closed, where the file can't be seen
    // so (the caller may then read it).
    bool OpenInPlace(const XString& path, uint64_t pieceBytes);
    bool IsOpen() const { return inPlace ? whole.IsOpen() : file.IsOpen(); }
    bool InPlace() const { return inPlace; }
    // The next piece, size 0 once the file is used up; false when the file gives less than
    // its size promised.
    bool Next(uint8_t*& data, uint32_t& size);
    bool AtEnd() const { return at == held && left == 0; }
    uint64_t FileSize() const { return total; }
    // Nothing before the chunk at hand will be read again: its memory goes back to the system
    // now, and each chunk's as the reader leaves it, for the caller's writing to use instead of
    // fresh memory. The file reads as zeros there after.
    void ReleaseBehind();
    void Close();

private:
    bool NextChunk();
    void Release(uint64_t end);

    XReadAhead file;
    XFile whole;  // in place: the file, with the window at hand mapped
    XFileView window;
    uint64_t windowStart = 0;  // the file's offset of the window's first byte
    bool inPlace = false;
    bool releasing = false;
    uint64_t released = 0;  // bytes from the start given back
    uint8_t* chunk = nullptr;
    uint64_t chunkBytes = 0;
    uint64_t piece = 0;
    uint64_t total = 0;  // the file's size
    uint64_t left = 0;   // not taken from the file yet
    uint64_t held = 0;   // in the chunk at hand
    uint64_t at = 0;     // handed out of it
};

// 500 ms of format in whole frames, at least one: the piece of the rendered file.
uint64_t TvRenderPieceBytes(const XWaveFormat& format);

// The PCM file that non-live rendering left, of format, read in pieces of 500 ms.
class TvRenderedSource : public TvAudioSource {
public:
    TvRenderedSource(const XWaveFormat& format, const PluginLogHandles& logs) : format(format), logs(logs) {}
    // Opens file for reading; false when it can't be.
    // The file is read once: what the pump has read goes back to the system as it goes.
    bool OpenFile(const XString& path) {
        if (!reader.Open(path, TvRenderPieceBytes(format))) return false;
        reader.ReleaseBehind();
        return true;
    }
    bool Open(OpenFileRecord&) override { return reader.IsOpen(); }
    bool Read(AudioBlockRecord& block, uint64_t encodedBytes) override;
    bool Close(ConversionRecord&) override {
        reader.Close();
        return true;
    }

private:
    XWaveFormat format;
    const PluginLogHandles& logs;
    TvPieceReader reader;
};
