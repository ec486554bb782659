#pragma once
// A child program whose standard handles may be tied to pipes that the parent reads and
// writes as streams. Nothing of the child outlives its owner: stop (and the destructor) ends it.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "foundation/platform/process.h"
#include "pp/overlapped_stream.h"
#include "pp/waitable.h"

namespace PP {

class workerProcess {
public:
    // Modes of the three standard handles.
    static constexpr uint32_t modeNone = 0;     // closed in the child
    static constexpr uint32_t modeInherit = 1;  // the parent's own
    static constexpr uint32_t modePipe = 2;     // a new pipe to this object

    // Grace the child gets to end after its input is closed, before it is terminated.
    static constexpr uint32_t stopGraceMilliseconds = 2000;

    workerProcess() = default;
    workerProcess(const workerProcess&) = delete;
    workerProcess& operator=(const workerProcess&) = delete;
    ~workerProcess();

    // Set once the child has been seen to end.
    waitable exitEvent;
    std::unique_ptr<streamInOverlapped> stdoutPipe;
    std::unique_ptr<streamInOverlapped> stderrPipe;
    std::unique_ptr<streamOutOverlapped> stdinPipe;

    std::string program;
    std::vector<std::string> arguments;
    // A ready command line for the system's shell; when set, `arguments` are not used.
    std::string commandLine;
    std::string directory;
    uint32_t stdinMode = modeNone;
    uint32_t stdoutMode = modeNone;
    uint32_t stderrMode = modeNone;

    // Ends a former run, then starts the child. A program that is not there throws
    // file_not_found; any other failure "could not start the worker process".
    void start();
    // Closes the pipes (input first), gives the child its grace to end and terminates it if it
    // has not; with `noWait` it is terminated at once.
    void stop(bool noWait = false);
    bool isRunning() const { return m_pid > 0; }
    XProcessId pid() const { return m_pid; }
    // Waits for the child to end on its own: its exit status, or -1 when the time passed
    // first (negative seconds: no limit). The thread's aborter is tested every 10 ms.
    int waitForExit(double seconds);
    // The status of the last run that ended, or -1.
    int exitStatus() const { return m_status; }

private:
    XProcessId m_pid = 0;
    int m_status = -1;
};

}  // namespace PP
