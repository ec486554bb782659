#include "pp/worker_process.h"

#include <stdexcept>

#include "foundation/platform/child_spawn.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/file_io.h"
#include "foundation/platform/last_error.h"
#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/wait.h"

namespace PP {

namespace {

// Step of waitForExit: the child's end has no event of its own here.
constexpr uint32_t exitPollMilliseconds = 10;

const char startFailure[] = "could not start the worker process";

}  // namespace

workerProcess::~workerProcess() { stop(); }

void workerProcess::start() {
    stop();
    XIgnoreBrokenPipeSignal();
    exitEvent.reset();
    // The child's pipe ends; closed after the launch, whatever happens.
    XFileHandle childEnds[3] = {XInvalidHandle, XInvalidHandle, XInvalidHandle};
    auto closeChildEnds = [&] {
        for (XFileHandle& h : childEnds) {
            if (h != XInvalidHandle) XSysCloseHandle(h);
            h = XInvalidHandle;
        }
    };
    try {
        const uint32_t modes[3] = {stdinMode, stdoutMode, stderrMode};
        XFileHandle handles[3];
        for (int n = 0; n < 3; ++n) {
            if (modes[n] == modeInherit) {
                handles[n] = XInheritStdHandle;
            } else if (modes[n] == modePipe) {
                XFileHandle r = XInvalidHandle, w = XInvalidHandle;
                if (!XSysCreatePipe(&r, &w, false)) throw std::runtime_error("pipe creation failure");
                if (n == 0) {
                    stdinPipe = std::make_unique<streamOutOverlapped>(w);
                    childEnds[0] = r;
                } else {
                    (n == 1 ? stdoutPipe : stderrPipe) = std::make_unique<streamInOverlapped>(r);
                    childEnds[n] = w;
                }
                handles[n] = childEnds[n];
            } else {
                handles[n] = XInvalidHandle;
            }
        }
        std::vector<std::string> words;
        if (!commandLine.empty()) {
            words = XShellCommandWords(commandLine);
        } else {
            words.push_back(program);
            words.insert(words.end(), arguments.begin(), arguments.end());
        }
        std::vector<const char*> argv;
        for (const auto& w : words) argv.push_back(w.c_str());
        argv.push_back(nullptr);
        XSetLastError(0);
        XProcessId pid = 0;
        if (!XSpawnWithHandles(argv.data(), directory.c_str(), handles, &pid)) {
            uint32_t e = XGetLastError();
            if (e == XErr::FileNotFound || e == XErr::PathNotFound) throwFixed<file_not_found>();
            throw std::runtime_error(startFailure);
        }
        m_pid = pid;
        closeChildEnds();
    } catch (...) {
        closeChildEnds();
        stop(true);
        throw;
    }
}

int workerProcess::waitForExit(double seconds) {
    if (m_pid <= 0) return m_status;
    const uint64_t start = XGetTickCount64();
    for (;;) {
        int r = XWaitProcess(m_pid, 0);
        if (r != -2) {
            m_status = r;
            m_pid = 0;
            exitEvent.set();
            return r;
        }
        if (seconds >= 0 && double(XGetTickCount64() - start) / 1000.0 >= seconds) return -1;
        sleepSeconds(exitPollMilliseconds / 1000.0);
    }
}

void workerProcess::stop(bool noWait) {
    stdinPipe.reset();
    stdoutPipe.reset();
    stderrPipe.reset();
    if (m_pid <= 0) return;
    int r = noWait ? -2 : XWaitProcess(m_pid, stopGraceMilliseconds);
    if (r == -2) {
        XKillProcess(m_pid, true);
        r = XWaitProcess(m_pid);
    }
    m_status = r;
    m_pid = 0;
    exitEvent.set();
}

}  // namespace PP
