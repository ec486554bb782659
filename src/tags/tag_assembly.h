#pragma once
// Assembly of the output file's tags: command-line tags over the source's tags, plus what the
// program says about the conversion itself, serialised for ConversionRecord.
#include <cstdint>
#include <vector>

#include "foundation/options/xoption_list.h"
#include "foundation/text/xstring.h"
#include "tags/id_tags.h"

// The registry switches of the assembly; each is off unless its value is nonzero.
struct XTagAssemblyFlags {
    bool noUpdateEncoderTags = false;  // "vMXNoUpdateEncoderTags": skip the program's own tags
    bool noTagDropSpaces = false;      // "vMXNoTagDropSpaces": no blank cleaning
    bool noDropRPGainTags = false;     // "vMXNoDropRPGainTags": ReplayGain tags stay
};

// Reads the three switches from the settings store.
XTagAssemblyFlags ReadTagAssemblyFlags();

struct XTagAssemblyInput {
    const XOptionList* options = nullptr;  // the run's options; each "tag" adds a tag
    const void* sourceTags = nullptr;      // IDTags of the opened source, may be null
    uint32_t sourceTagsSize = 0;
    const void* infoTags = nullptr;  // InfoTags of the opened source, may be null
    uint32_t infoTagsSize = 0;
    bool keepReplayGain = false;  // the encoder or a DSP wants ReplayGain tags
    XString encoderName;
    XString encoderCommandLine;
    XString sourcePath;     // its extension joins the "Source" history
    XString programFolder;  // holds Versions/; empty: the program's own
};

// Fills `tags` (cleared first) and its serialised `block`.
void AssembleOutputTags(const XTagAssemblyInput& input, const XTagAssemblyFlags& flags, XIDTags& tags,
                        std::vector<uint8_t>& block);

// Blanks of other widths become U+0020, then blanks at both ends go.
void NormaliseTagSpaces(XString& value);

// The "Release" form of an encoder's version line, "Release 1.2 (fast build)", gives the
// part in brackets; other lines are returned whole.
XString EncoderVersionText(const XString& line);
