#pragma once
// The blocks that wait for the measurement, one after another in one reservation of memory
// used as a ring. Copying a block in then costs no call to the system, the pages are put in
// place a few megabytes at a time ahead of the copying, and the memory goes back by one call at
// the end. (Memory of its own for each block cost a call each way, and each giving back stopped
// the other cores to flush their address translations.)
// Not locked: the meter thread's lock guards every call, and one thread adds.
#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

namespace tvfx {

class BlockRing {
public:
    explicit BlockRing(size_t capacity) : capacity(capacity) {}
    ~BlockRing() { Release(); }
    BlockRing(const BlockRing&) = delete;
    BlockRing& operator=(const BlockRing&) = delete;

    // Room for a block of bytes after the newest, to fill and then Commit; one claim at a
    // time. Null with full set while the waiting blocks leave no room, null with full clear
    // for a block the ring can never hold (larger than the ring, no memory, released).
    uint8_t* Claim(size_t bytes, bool& full);
    // The claimed block, filled: it waits now.
    void Commit(uint8_t* place, size_t bytes);

    bool Empty() const { return waiting.empty(); }
    // The oldest waiting block, which keeps its room until Pop.
    std::pair<const uint8_t*, size_t> Front() const;
    void Pop() { waiting.pop_front(); }

    // The next few megabytes of pages not yet put in place below offset end (the ring's end at
    // most), taken so that no one else takes them; false when there are none.
    bool NextToPopulate(size_t end, uint8_t*& at, size_t& bytes);
    // Where the next block goes, unless the ring wraps or empties first.
    size_t Tail() const { return tail; }

    // Gives the memory back: every block is dropped, and no block fits any more.
    void Release();

private:
    static constexpr size_t PopulateStep = size_t{2} << 20;

    const size_t capacity;
    uint8_t* memory = nullptr;
    bool released = false;
    size_t tail = 0;                                // end of the newest block
    size_t populated = 0;                           // pages below are in place, or being put there
    std::deque<std::pair<size_t, size_t>> waiting;  // offset and size of each block, oldest first
};

}  // namespace tvfx
