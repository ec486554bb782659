// Where the run's text goes: the internal error and information pipes and the thread that
// drains them, the heartbeat, controller lines, priority and processor binding.
#include "driver/travex.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/console.h"
#include "foundation/platform/scheduling.h"

namespace {
constexpr uint32_t PumpPeriodMs = 50;
constexpr uint32_t OutputStopWaitMs = 60000;
constexpr uint32_t FlushWaitMs = 5000;
constexpr const char* PriorityFunction = "TvTravex::SetConversionPriority";

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

bool TvTravex::CreateOutputPipes() {
    // Plug-ins write into the sinks from their own code; a pipe that can't be made leaves
    // that sink at 0, which they take as none.
    if (errorPipe.Create(false)) logSinks.ErrorLog = errorPipe.WriteHandle();
    if (infoPipe.Create(false)) logSinks.InfoLog = infoPipe.WriteHandle();
    return logSinks.ErrorLog != 0 && logSinks.InfoLog != 0;
}

bool TvTravex::DrainOutputPipes() {
    bool moved = false;
    XString info = TakePipeText(infoPipe);
    if (!info.IsEmpty()) {
        moved = true;
        if (commandFileMode) {
            console.stdOut.Write(info.Text(), static_cast<uint32_t>(info.Length()) * sizeof(char16_t));
        } else if (!silent) {
            PrintLine(XString(), true);
            PrintLine(info, true);
        }
    }
    XString errors = TakePipeText(errorPipe);
    if (!errors.IsEmpty()) {
        moved = true;
        MarkFailed();
        console.WriteErrorText(errors);
    }
    return moved;
}

void TvTravex::FlushOutputPipes() {
    if (!outputThread.thread) return;
    drainDone.Reset();
    drainNow.Set();
    drainDone.Wait(FlushWaitMs);
}

void TvTravex::StartOutputThread() {
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
                    DrainOutputPipes();
                    continue;
                }
                if (woken == 2) {
                    drainNow.Reset();
                    while (DrainOutputPipes()) {
                    }
                    drainDone.Set();
                } else {
                    DrainOutputPipes();
                }
            }
            while (DrainOutputPipes()) {
            }
        },
        false, OutputStopWaitMs);
}

void TvTravex::StartWatchdog() {
    watchdogThread.Start(
        [this](XEvent& stop) {
            XSetThreadName(u"WatchdogPulse");
            while (!stop.Wait(PumpPeriodMs)) evtWatchdog.Set();
        },
        false, 0);
}

void TvTravex::StopWatchdog() { watchdogThread.Stop(true); }

void TvTravex::ControllerLine(const XString& text) {
    if (commandFileMode) PrintLine(text, true);
}

void TvTravex::SetConversionPriority(clTvEncoder& enc) {
    XString value;
    if (!Get(u"priority", value) || value.IsEmpty()) return;
    DebugLog(XString(u"Setting Priority: ") + value, PriorityFunction);
    int threadPriority = 0;
    uint32_t priorityClass = 32;
    if (XString::Equal(value.Text(), u"low", 0, true)) {
        threadPriority = -1;
    } else if (XString::Equal(value.Text(), u"idle", 0, true)) {
        threadPriority = -15;
        priorityClass = 64;
    } else if (XString::Equal(value.Text(), u"high", 0, true)) {
        threadPriority = 1;
    }
    // Without privileges a raise is refused; the run goes on at the priority it has.
    XSetProcessPriorityClass(priorityClass);
    XSetCurrentThreadPriority(threadPriority);
    PluginArgs args{};
    args.Text = value.Text();
    enc.Set(TV_PROP_PRIORITY, &args);
}

void TvTravex::BindToProcessor(const XString& value) {
    const int64_t n = value.ToInt();
    uint64_t mask = 1;
    for (int64_t i = 1; i < n && i < 64; ++i) mask <<= 1;
    // A processor the system doesn't have leaves the thread where it was.
    XSetCurrentThreadAffinity(mask);
    DebugLog(XString(u"Allying to Processor ") + value);
}
