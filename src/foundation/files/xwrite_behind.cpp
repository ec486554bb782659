#include "foundation/files/xwrite_behind.h"

#include <cstring>
#include <system_error>

#include "foundation/platform/last_error.h"

bool XWriteBehind::Open(const XString& path, uint32_t chunkBytes) {
    Close();
    return file.OpenCreate(path) && Start(chunkBytes);
}

bool XWriteBehind::OpenAt(const XString& path, uint64_t offset, uint32_t chunkBytes) {
    Close();
    if (!file.OpenReadWrite(path)) return false;
    if (!file.Seek(static_cast<int64_t>(offset), XFile::FromStart)) {
        file.Close();
        return false;
    }
    return Start(chunkBytes);
}

bool XWriteBehind::Start(uint32_t chunkBytes) {
    if (chunkBytes == 0) chunkBytes = DefaultChunkBytes;
    for (Slot& slot : slots) {
        slot.size = 0;
        slot.full = false;
        if (!slot.buffer.Resize(chunkBytes, false, false, 0, true)) {
            file.Close();
            XSetLastError(XErr::NotEnoughMemory);
            return false;
        }
    }
    filling = 0;
    error = 0;
    failed = false;
    stopping = false;
    try {
        worker = std::thread([this] { Run(); });
    } catch (const std::system_error&) {
        // No thread to be had: Hand writes on the caller's thread.
    }
    return true;
}

bool XWriteBehind::WriteOut(Slot& slot) {
    if (file.Write(slot.buffer.Data(), slot.size)) return true;
    error = XGetLastError();
    if (error == 0) error = XErr::DiskFull;  // a short write without a reason given
    return false;
}

void XWriteBehind::Run() {
    for (int at = 0;; at = (at + 1) % Slots) {
        Slot& slot = slots[at];
        {
            std::unique_lock<std::mutex> hold(lock);
            changed.wait(hold, [&] { return slot.full || stopping; });
            // Stopping drops only what Close abandons; Finish waits for the slots first.
            if (!slot.full) return;
        }
        const bool ok = WriteOut(slot);
        {
            std::lock_guard<std::mutex> hold(lock);
            slot.full = false;
            slot.size = 0;
            if (!ok) failed = true;
        }
        changed.notify_all();
        if (!ok) return;
    }
}

bool XWriteBehind::Hand(Slot& slot) {
    if (!worker.joinable()) {
        if (!failed && slot.size != 0 && !WriteOut(slot)) failed = true;
        slot.size = 0;
        if (failed) XSetLastError(error);
        return !failed;
    }
    std::unique_lock<std::mutex> hold(lock);
    if (slot.size != 0) {
        slot.full = true;
        changed.notify_all();
        filling = (filling + 1) % Slots;
    }
    Slot& next = slots[filling];
    changed.wait(hold, [&] { return !next.full || failed; });
    if (failed) XSetLastError(error);
    return !failed;
}

bool XWriteBehind::Write(const void* data, uint32_t size) {
    if (!file.IsOpen()) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    const auto* from = static_cast<const uint8_t*>(data);
    while (size > 0) {
        Slot& slot = slots[filling];
        const uint64_t room = slot.buffer.Size() - slot.size;
        const uint32_t part = static_cast<uint32_t>(size < room ? size : room);
        std::memcpy(slot.buffer.Data() + slot.size, from, part);
        slot.size += part;
        from += part;
        size -= part;
        if (slot.size == slot.buffer.Size() && !Hand(slot)) return false;
    }
    if (failed) {
        XSetLastError(error);
        return false;
    }
    return true;
}

bool XWriteBehind::Finish() {
    if (!file.IsOpen()) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    if (!Hand(slots[filling])) return false;
    if (worker.joinable()) {
        std::unique_lock<std::mutex> hold(lock);
        changed.wait(hold, [&] {
            if (failed) return true;
            for (const Slot& slot : slots) {
                if (slot.full) return false;
            }
            return true;
        });
    }
    if (failed) {
        XSetLastError(error);
        return false;
    }
    return true;
}

void XWriteBehind::Close() {
    if (worker.joinable()) {
        {
            std::lock_guard<std::mutex> hold(lock);
            stopping = true;
            // What was not written yet is abandoned with the file.
            for (Slot& slot : slots) slot.full = false;
        }
        changed.notify_all();
        worker.join();
    }
    file.Close();
}
