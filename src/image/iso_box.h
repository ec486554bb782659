#pragma once
// The header of one ISO base media box, as read without seeking.
#include <cstdint>

namespace PP {
class streamIn;
}

struct isoBoxHeader {
    char type[4];
    // Bytes behind the header; PP::unknownLength for a box that runs to the end of the source.
    uint64_t payload;

    bool is(const char* name) const;
};

// Reads size and type (and a 64-bit size where the size is 1); a size that breaks its bounds
// throws PP::invalid_input.
isoBoxHeader readIsoBoxHeader(PP::streamIn& stream);
