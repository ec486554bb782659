#pragma once
// MD5 as an output stream: what is written is hashed.
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "pp/stream.h"

namespace PP {

class hasherMD5 : public streamOut {
public:
    hasherMD5();
    hasherMD5(const hasherMD5&) = delete;
    hasherMD5& operator=(const hasherMD5&) = delete;
    ~hasherMD5() override;

    void write(const void* buffer, size_t length) override;
    // The digest as 32 lower-case hexadecimal digits.
    std::string finish();
    void reset();
    // finish, then reset.
    std::string digestText();

private:
    static constexpr size_t digestBytes = 16;
    // The system library's part: one piece of at most maxPiece bytes into the hash, and the
    // raw digest at the end.
    static constexpr size_t maxPiece = 0x80000000u;
    void update(const void* piece, size_t length);
    void finishRaw(unsigned char (&digest)[digestBytes]);

    struct state;
    std::unique_ptr<state> m_state;
};

// The MD5 of a text as 32 lower-case hexadecimal digits.
std::string md5Hex(std::string_view text);

}  // namespace PP
