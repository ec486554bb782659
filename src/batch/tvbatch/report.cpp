#include "batch/tvbatch/report.h"

#include <string>

#include "foundation/platform/console.h"
#include "foundation/platform/handle.h"

TvBatchConsole::TvBatchConsole() { terminal = XIsConsoleHandle(XStdOutputHandle); }

void TvBatchConsole::Write(int handle, const XString& text) {
    const std::string bytes = text.ToStdUtf8();
    // Nothing is left to tell a reader that has gone away.
    XWriteHandle(handle, bytes.data(), bytes.size());
}

void TvBatchConsole::Line(const XString& text) {
    std::lock_guard<std::mutex> hold(lock);
    if (terminal && !status.IsEmpty()) Write(XStdOutputHandle, u"\r\x1b[K");
    Write(XStdOutputHandle, text + u"\n");
    if (terminal && !status.IsEmpty()) Write(XStdOutputHandle, status);
}

void TvBatchConsole::Error(const XString& text) {
    std::lock_guard<std::mutex> hold(lock);
    if (terminal && !status.IsEmpty()) Write(XStdOutputHandle, u"\r\x1b[K");
    Write(XStdErrorHandle, text + u"\n");
    if (terminal && !status.IsEmpty()) Write(XStdOutputHandle, status);
}

void TvBatchConsole::Status(const XString& text) {
    if (!terminal) return;
    std::lock_guard<std::mutex> hold(lock);
    status = text;
    Write(XStdOutputHandle, XString(u"\r\x1b[K") + status);
}

void TvBatchConsole::EndStatus() {
    std::lock_guard<std::mutex> hold(lock);
    if (terminal && !status.IsEmpty()) Write(XStdOutputHandle, u"\n");
    status.Clear();
}

XString TvClockText(uint64_t milliseconds) {
    const uint64_t seconds = milliseconds / 1000;
    const uint64_t hours = seconds / 3600;
    const auto minutes = static_cast<unsigned>((seconds / 60) % 60);
    const auto rest = static_cast<unsigned>(seconds % 60);
    if (hours > 0) return XString::FormatUInt(hours) + XString::Formatted(u":%02u:%02u", minutes, rest);
    return XString::Formatted(u"%u:%02u", minutes, rest);
}

XString TvBatchProgress::StatusLine(uint64_t elapsedMs) const {
    XString line = XString::Formatted(u"%d/%d done, %d failed, %d skipped", done, total, failed, skipped);
    const uint64_t audio = audioDoneMs + runningAudioMs;
    line += XString(u" | ") + TvClockText(audio) + u" audio";
    if (elapsedMs > 0 && audio > 0) {
        line += XString(u", ") +
                XString::FormatDouble(static_cast<double>(audio) / static_cast<double>(elapsedMs), 1, true) +
                u"x realtime";
    }
    const uint64_t bytes = bytesDone + runningBytes;
    // Sizes of the sources stand in for the work still to do; too early a guess is no guess.
    if (totalBytes > 0 && bytes * 100 >= totalBytes && bytes < totalBytes && elapsedMs >= 2000) {
        const double part = static_cast<double>(bytes) / static_cast<double>(totalBytes);
        const auto left = static_cast<uint64_t>(static_cast<double>(elapsedMs) * (1.0 - part) / part);
        line += XString(u" | ") + TvClockText(left) + u" left";
    }
    return line;
}
