#include "apps/tvctl/ctl_tool.h"

#include <cstring>
#include <memory>
#include <vector>

#include "foundation/platform/process.h"
#include "foundation/sync/xevent.h"
#include "foundation/sync/xshared_memory.h"

namespace {

constexpr int UsageStatus = 2;
constexpr uint32_t CounterSize = 8;  // the converter's byte counter

constexpr const char16_t* Usage =
    u"usage: tvctl event set|reset|test NAME\n"
    u"       tvctl event wait NAME MS\n"
    u"       tvctl shm read NAME\n"
    u"       tvctl hold NAME... [-- COMMAND ARG...]   (shm:NAME holds an 8-byte block)\n";

int UsageError(XString& err) {
    err.AppendFast(Usage);
    return UsageStatus;
}

bool Is(const char* a, const char* b) { return strcmp(a, b) == 0; }

bool ParseMs(const char* text, uint32_t& ms) {
    if (!*text) return false;
    uint64_t n = 0;
    for (const char* p = text; *p; ++p) {
        if (*p < '0' || *p > '9') return false;
        n = n * 10 + static_cast<uint64_t>(*p - '0');
        if (n > 0xFFFFFFFEull) return false;
    }
    ms = static_cast<uint32_t>(n);
    return true;
}

int Event(int argc, const char* const* argv, XString& err) {
    if (argc < 2) return UsageError(err);
    const char* action = argv[0];
    XString name(argv[1], true);
    if (name.IsEmpty()) return UsageError(err);
    uint32_t ms = 0;
    bool wait = Is(action, "wait");
    if (wait ? (argc != 3 || !ParseMs(argv[2], ms)) : argc != 2) return UsageError(err);
    XEvent event;
    if (!event.Create(name.Text())) {
        err.AppendFast(u"tvctl: cannot open the event\n");
        return 1;
    }
    if (Is(action, "set")) return event.Set() ? 0 : 1;
    if (Is(action, "reset")) return event.Reset() ? 0 : 1;
    if (Is(action, "test")) return event.IsSet() ? 0 : 1;
    if (wait) return event.Wait(ms) ? 0 : 1;
    return UsageError(err);
}

int Shm(int argc, const char* const* argv, XString& out, XString& err) {
    if (argc != 2 || !Is(argv[0], "read")) return UsageError(err);
    XString name(argv[1], true);
    XSharedMemory block;
    if (name.IsEmpty() || !block.Open(name.Text(), CounterSize)) {
        err.AppendFast(u"tvctl: cannot open the shared block\n");
        return 1;
    }
    uint8_t bytes[CounterSize] = {};
    if (block.size < CounterSize || !block.Read(bytes)) {
        err.AppendFast(u"tvctl: the shared block is too small\n");
        return 1;
    }
    uint64_t value = 0;
    for (int i = CounterSize - 1; i >= 0; --i) value = (value << 8) | bytes[i];
    out.AppendFast(XString::FormatUInt(value));
    out.AppendChar(u'\n');
    return 0;
}

int Hold(int argc, const char* const* argv, XString& err) {
    // Whoever sees the names held may ask this process to end at once.
    XListenForTerminationRequests();
    std::vector<std::unique_ptr<XEvent>> events;
    std::vector<std::unique_ptr<XSharedMemory>> blocks;
    int i = 0;
    for (; i < argc && !Is(argv[i], "--"); ++i) {
        const char* arg = argv[i];
        bool shm = strncmp(arg, "shm:", 4) == 0;
        XString name(shm ? arg + 4 : arg, true);
        if (name.IsEmpty()) return UsageError(err);
        bool ok;
        if (shm) {
            blocks.push_back(std::make_unique<XSharedMemory>());
            ok = blocks.back()->Open(name.Text(), CounterSize);
        } else {
            events.push_back(std::make_unique<XEvent>());
            ok = events.back()->Create(name.Text());
        }
        if (!ok) {
            err.AppendFast(u"tvctl: cannot open ");
            err.AppendFast(XString(arg, true));
            err.AppendChar(u'\n');
            return 1;
        }
    }
    if (i == 0) return UsageError(err);
    if (i == argc) {
        XWaitForTerminationRequest();
        return 0;
    }
    if (i + 1 >= argc) return UsageError(err);
    std::vector<const char*> command(argv + i + 1, argv + argc);
    command.push_back(nullptr);
    int status = XRunChildPassingSignals(command.data());
    if (status == 127) {
        err.AppendFast(u"tvctl: cannot start ");
        err.AppendFast(XString(command[0], true));
        err.AppendChar(u'\n');
    }
    return status < 0 ? 1 : status;
}

}  // namespace

int XCtlTool(int argc, const char* const* argv, XString& out, XString& err) {
    if (argc < 1) return UsageError(err);
    if (Is(argv[0], "event")) return Event(argc - 1, argv + 1, err);
    if (Is(argv[0], "shm")) return Shm(argc - 1, argv + 1, out, err);
    if (Is(argv[0], "hold")) return Hold(argc - 1, argv + 1, err);
    if (Is(argv[0], "--help") || Is(argv[0], "/?")) {
        out.AppendFast(Usage);
        return 0;
    }
    return UsageError(err);
}
