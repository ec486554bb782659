#include "pp/http/reply_buffer.h"

#include <algorithm>
#include <cstring>

namespace PP {

size_t replyBuffer::read(void* buffer, size_t length) { return streamCopyLoop(*this, buffer, length); }

size_t replyBuffer::readSome(void* buffer, size_t length) {
    if (length == 0) return 0;
    if (m_begin == m_end) {
        // A large request needs no copy.
        if (length >= capacity) return m_lower.readSome(buffer, length);
        if (m_data.empty()) m_data.resize(capacity);
        m_begin = 0;
        m_end = m_lower.readSome(m_data.data(), m_data.size());
        if (m_end == 0) return 0;
    }
    const size_t n = std::min(length, m_end - m_begin);
    std::memcpy(buffer, m_data.data() + m_begin, n);
    m_begin += n;
    return n;
}

}  // namespace PP
