// The names a fault deletes. Slots change hands through one atomic state each, so the handler
// reads only whole names, whatever the other threads are doing.
#include "foundation/platform/faults.h"

#include <atomic>
#include <cstring>
#include <string>

namespace {

constexpr size_t NameCapacity = 4096;
enum : uint32_t { Free = 0, Busy = 1, Held = 2 };

struct Slot {
    std::atomic<uint32_t> state{Free};
    char name[NameCapacity]{};
};
// constinit: zero pages from the start, not a loop at process start that touches every one.
constinit Slot g_slots[XFaultCleanupSlots];

}  // namespace

bool XRemoveOnFault(const XString& path) {
    const std::string name = path.ToStdUtf8();
    if (name.empty() || name.size() >= NameCapacity) return false;
    for (Slot& slot : g_slots) {
        uint32_t expected = Free;
        if (!slot.state.compare_exchange_strong(expected, Busy)) continue;
        std::memcpy(slot.name, name.c_str(), name.size() + 1);
        slot.state.store(Held);
        return true;
    }
    return false;
}

void XForgetOnFault(const XString& path) {
    const std::string name = path.ToStdUtf8();
    for (Slot& slot : g_slots) {
        uint32_t expected = Held;
        if (!slot.state.compare_exchange_strong(expected, Busy)) continue;
        const bool same = std::strcmp(slot.name, name.c_str()) == 0;
        slot.state.store(same ? Free : Held);
        if (same) return;
    }
}

void XRemoveFilesOfFault() {
    for (Slot& slot : g_slots) {
        if (slot.state.load() == Held) XFaultDeleteFile(slot.name);
    }
}
