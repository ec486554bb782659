#include "driver/output_routes.h"

#include "foundation/platform/threads.h"

namespace {
constexpr uint32_t PumpPeriodMs = 50;
constexpr uint32_t OutputStopWaitMs = 60000;
constexpr uint32_t FlushWaitMs = 5000;

// Everything the pipe holds now, as text; empty when nothing came.
XString TakePipeText(XPipe& pipe) {
    pipe.ReadAvailable();
    XBuffer& input = pipe.Input();
    if (input.Fill() == 0) return XString();
    XString text(input.Data(), static_cast<size_t>(input.Fill()), XString::Bytes::Utf16);
    input.SetFill(0);
    input.SetPosition(0);
    return text;
}
}  // namespace

bool TvOutputRoutes::CreatePipes(PluginLogHandles& logs) {
    if (errorPipe.Create(false)) logs.ErrorLog = errorPipe.WriteHandle();
    if (infoPipe.Create(false)) logs.InfoLog = infoPipe.WriteHandle();
    return logs.ErrorLog != 0 && logs.InfoLog != 0;
}

bool TvOutputRoutes::Drain() {
    bool moved = false;
    XString info = TakePipeText(infoPipe);
    if (!info.IsEmpty()) {
        moved = true;
        if (commandFileMode) {
            console.stdOut.Write(info.Text(), static_cast<uint32_t>(info.Length()) * sizeof(char16_t));
        } else if (!silent) {
            console.PrintLine(XString(), true);
            console.PrintLine(info, true);
        }
    }
    XString errors = TakePipeText(errorPipe);
    if (!errors.IsEmpty()) {
        moved = true;
        failRun();
        console.WriteErrorText(errors);
    }
    return moved;
}

void TvOutputRoutes::Flush() {
    if (!outputThread.thread) return;
    drainDone.Reset();
    drainNow.Set();
    drainDone.Wait(FlushWaitMs);
}

void TvOutputRoutes::StartThread() {
    drainNow.Create();
    drainDone.Create();
    outputThread.Start(
        [this](XEvent& stop) {
            XSetThreadName(u"OutputPump");
            for (;;) {
                const int woken = XEvent::WaitEither(stop, drainNow, PumpPeriodMs);
                if (woken == 1) break;
                if (woken < 0) {
                    // Without the flush events the pump falls back to its plain period.
                    if (stop.Wait(PumpPeriodMs)) break;
                    Drain();
                    continue;
                }
                if (woken == 2) {
                    drainNow.Reset();
                    while (Drain()) {}
                    drainDone.Set();
                } else {
                    Drain();
                }
            }
            while (Drain()) {}
        },
        false, OutputStopWaitMs);
}
