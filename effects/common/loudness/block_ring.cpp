#include "block_ring.h"

#include "tvkit/os_process.h"

namespace tvfx {

uint8_t* BlockRing::Claim(size_t bytes, bool& full) {
    full = false;
    if (released || bytes > capacity) return nullptr;
    if (!memory) {
        memory = static_cast<uint8_t*>(tvkit::os::ReserveMemory(capacity));
        if (!memory) return nullptr;
    }
    // Empty, it starts over at the front, where the pages are in place already.
    if (waiting.empty()) tail = 0;
    size_t at = tail;
    if (!waiting.empty()) {
        const size_t head = waiting.front().first;
        if (tail > head) {
            // Free after the tail and before the head: at the tail if it fits there, else at 0.
            if (tail + bytes > capacity) {
                if (bytes > head) {
                    full = true;
                    return nullptr;
                }
                at = 0;
            }
        } else if (tail + bytes > head) {  // wrapped: free only between the tail and the head
            full = true;
            return nullptr;
        }
    }
    tail = at + bytes;
    return memory + at;
}

void BlockRing::Commit(uint8_t* place, size_t bytes) {
    waiting.emplace_back(static_cast<size_t>(place - memory), bytes);
}

std::pair<const uint8_t*, size_t> BlockRing::Front() const {
    return {memory + waiting.front().first, waiting.front().second};
}

bool BlockRing::NextToPopulate(size_t end, uint8_t*& at, size_t& bytes) {
    if (!memory) return false;
    if (end > capacity) end = capacity;
    if (populated >= end) return false;
    at = memory + populated;
    bytes = capacity - populated < PopulateStep ? capacity - populated : PopulateStep;
    populated += bytes;
    return true;
}

void BlockRing::Release() {
    tvkit::os::FreeMemory(memory, capacity);
    memory = nullptr;
    released = true;
    waiting.clear();
    tail = populated = 0;
}

}  // namespace tvfx
