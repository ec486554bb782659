#pragma once
// The receiving side of an HTTP connection: reads from the connection in large steps and hands
// out small ones, so that head lines read byte by byte and small body reads cost no system
// call each.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "pp/stream.h"

namespace PP {

class replyBuffer : public streamIn {
public:
    static constexpr size_t capacity = 65536;

    explicit replyBuffer(streamIn& lower) : m_lower(lower) {}
    size_t read(void* buffer, size_t length) override;
    size_t readSome(void* buffer, size_t length) override;
    // Bytes received and not handed out yet.
    size_t held() const { return m_end - m_begin; }
    // Forgets what is held: the connection it came from is gone.
    void clear() { m_begin = m_end = 0; }

private:
    streamIn& m_lower;
    std::vector<uint8_t> m_data;
    size_t m_begin = 0;
    size_t m_end = 0;
};

}  // namespace PP
