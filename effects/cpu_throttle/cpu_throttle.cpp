// "CPU Throttle": sleeps whenever the process has used more than -percent of one core since
// this instance came to life. The host calls it in both phases of a run with a non-live effect
// (once on the rendered file, then on every block of the pump), and the pace spans both.
#include <algorithm>

#include "effect.h"
#include "tvkit/os_process.h"

namespace {

// The longest single sleep: the host looks at its quit event between calls, and a debt left
// over is paid on the next call.
constexpr double MaxSleepSeconds = 0.5;

class CpuThrottle final : public tvfx::Effect {
public:
    explicit CpuThrottle(const PluginLogHandles* logs)
        : Effect(logs, u"CPU Throttle"),
          wallStart(tvkit::os::MonotonicSeconds()),
          cpuStart(tvkit::os::ProcessCpuSeconds()) {}

    int32_t PassAudioBlock(AudioBlockRecord&) override {
        Pace();
        return 1;
    }

    int32_t PassNonLive(std::u16string_view, TvFormatAndLength&, std::u16string_view settings,
                        std::u16string_view) override {
        if (!Configure(settings, false)) return 0;
        Pace();
        return 1;
    }

protected:
    std::vector<std::u16string_view> SettingNames() const override { return {u"percent"}; }
    void Read(tvfx::Settings& s) override {
        share = s.Whole(u"percent", 50, 1, 100, u"a share of one core in percent from 1 to 100") / 100.0;
    }

private:
    void Pace() {
        const double used = tvkit::os::ProcessCpuSeconds() - cpuStart;
        const double elapsed = tvkit::os::MonotonicSeconds() - wallStart;
        const double owed = std::min(used / share - elapsed, MaxSleepSeconds);
        if (owed > 0.001) tvkit::os::SleepMs(static_cast<unsigned>(owed * 1000));
    }

    double share = 0.5;
    double wallStart, cpuStart;
};

}  // namespace

TV_KIT_DSP_EXPORTS(CpuThrottle)
