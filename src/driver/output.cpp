// The run's own threads and scheduling: the output routes' start and flush, the heartbeat,
// priority and processor binding.
#include "driver/travex.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/console.h"
#include "foundation/platform/scheduling.h"

namespace {
constexpr uint32_t PumpPeriodMs = 50;
constexpr const char* PriorityFunction = "TvTravex::SetConversionPriority";
}  // namespace

bool TvTravex::CreateOutputPipes() { return routes.CreatePipes(logSinks); }

void TvTravex::FlushOutputPipes() { routes.Flush(); }

void TvTravex::StartOutputThread() { routes.StartThread(); }

void TvTravex::StartWatchdog() {
    watchdogThread.Start(
        [this](XEvent& stop) {
            XSetThreadName(u"WatchdogPulse");
            while (!stop.Wait(PumpPeriodMs)) evtWatchdog.Set();
        },
        false, 0);
}

void TvTravex::StopWatchdog() { watchdogThread.Stop(true); }

void TvTravex::ControllerLine(const XString& text) { routes.ControllerLine(text); }

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
