#include "foundation/files/xread_ahead.h"

#include <system_error>

#include "foundation/platform/last_error.h"

bool XReadAhead::Open(const XString& path, uint32_t chunkBytes) {
    Close();
    chunk = chunkBytes == 0 ? 1 : chunkBytes;
    if (!file.OpenRead(path)) return false;
    bool sizeError = false;
    total = unread = untaken = file.Size(&sizeError);
    if (sizeError) {
        file.Close();
        return false;
    }
    // A short file needs no more than its own size.
    const uint64_t size = total < chunk ? (total == 0 ? 1 : total) : chunk;
    for (Slot& slot : slots) {
        slot.size = 0;
        slot.full = false;
        if (!slot.buffer.Resize(size, false, false, 0, true)) {
            file.Close();
            XSetLastError(XErr::NotEnoughMemory);
            return false;
        }
    }
    taking = -1;
    nextTake = 0;
    error = 0;
    failed = stopping = false;
    if (total == 0) return true;
    try {
        worker = std::thread([this] { Run(); });
    } catch (const std::system_error&) {
        // No thread to be had: Next reads on the caller's thread.
    }
    return true;
}

bool XReadAhead::ReadInto(Slot& slot) {
    const uint32_t want = static_cast<uint32_t>(unread < chunk ? unread : chunk);
    bool readError = false;
    const uint32_t got = file.Read(slot.buffer.Data(), want, XFile::FromCurrent, &readError);
    if (readError || got != want) {
        error = readError ? XGetLastError() : XErr::HandleEof;
        if (error == 0) error = XErr::HandleEof;
        return false;
    }
    if (releasing) Release(total - unread, want);
    unread -= want;
    slot.size = want;
    return true;
}

void XReadAhead::Release(uint64_t offset, uint32_t length) {
    if (!releaser.IsOpen()) {
        if (releaseRefused) return;
        // A read-only file keeps its memory until it is deleted: nothing else is lost.
        releaseRefused = !releaser.OpenReadWrite(file);
        if (releaseRefused) return;
    }
    // Refused, the range's memory goes back with the file instead.
    if (!releaser.ReleaseRange(released, offset + length - released)) return;
    released = offset + length;
}

void XReadAhead::Run() {
    for (int at = 0;; at = (at + 1) % Slots) {
        Slot& slot = slots[at];
        {
            std::unique_lock<std::mutex> hold(lock);
            // A slot the caller holds stays full until it hands it back.
            changed.wait(hold, [&] { return stopping || !slot.full; });
            if (stopping) return;
        }
        // The slot is the reader's alone until it is marked full.
        const bool ok = ReadInto(slot);
        {
            std::lock_guard<std::mutex> hold(lock);
            if (ok) {
                slot.full = true;
            } else {
                failed = true;
            }
        }
        changed.notify_all();
        if (!ok || unread == 0) return;
    }
}

bool XReadAhead::Next(uint8_t*& data, uint32_t& size) {
    data = nullptr;
    size = 0;
    if (!file.IsOpen()) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    if (!worker.joinable()) {
        // Inline: one slot serves every chunk.
        if (untaken == 0) return true;
        if (!ReadInto(slots[0])) {
            XSetLastError(error);
            return false;
        }
        untaken -= slots[0].size;
        data = slots[0].buffer.Data();
        size = slots[0].size;
        return true;
    }
    std::unique_lock<std::mutex> hold(lock);
    if (taking >= 0) {
        slots[taking].full = false;
        taking = -1;
        changed.notify_all();
    }
    if (untaken == 0) return true;
    Slot& slot = slots[nextTake];
    changed.wait(hold, [&] { return slot.full || failed; });
    if (!slot.full) {
        XSetLastError(error);
        return false;
    }
    taking = nextTake;
    nextTake = (nextTake + 1) % Slots;
    untaken -= slot.size;
    data = slot.buffer.Data();
    size = slot.size;
    return true;
}

void XReadAhead::Close() {
    if (worker.joinable()) {
        {
            std::lock_guard<std::mutex> hold(lock);
            stopping = true;
        }
        changed.notify_all();
        worker.join();
    }
    file.Close();
    releaser.Close();
    releasing = releaseRefused = false;
    released = 0;
}
