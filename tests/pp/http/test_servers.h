#pragma once
// Peers for the HTTP and TLS tests: real servers from Debian started on free loopback ports
// and ended by their pid, shell commands run to an end, and a scripted server for the replies
// no stock server gives. Everything is bounded in time.
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "foundation/platform/sockets.h"
#include "pp/net/net_stream.h"
#include "pp/stream.h"
#include "pp/waitable.h"
#include "pp/worker_process.h"

namespace testsrv {

// A port of 127.0.0.1 that was free a moment ago.
uint16_t freePort();
// A fresh folder below the test's temporary folder, with a trailing "/".
std::string scratchDir(const std::string& name);
void writeText(const std::string& path, const std::string& text);
std::string readText(const std::string& path);
// Runs a shell command in `dir`; its exit status, or -1 after `seconds`.
int run(const std::string& commandLine, const std::string& dir = {}, double seconds = 60.0);

// The built tvget, and one run of it in `dir` with `env` (NAME=value ...) before the command;
// standard output and error are caught in files of `dir`.
std::string tvgetPath();
struct outcome {
    int status;
    std::string out, err;
};
outcome fetch(const std::string& dir, const std::string& args, const std::string& env = {});

// A reply body read to its end, or to `limit` bytes.
std::string readBody(PP::streamIn& s, size_t limit = size_t(1) << 20);

// Trust only the CA in `file` for the scope, as a user's SSL_CERT_FILE would.
class trustOnly {
public:
    explicit trustOnly(const std::string& file);
    ~trustOnly();
    trustOnly(const trustOnly&) = delete;
    trustOnly& operator=(const trustOnly&) = delete;
};

// A server process; ready when its port takes a connection. Stopped by its pid.
class serverProcess {
public:
    serverProcess(const std::string& commandLine, uint16_t port, const std::string& dir = {});
    ~serverProcess();
    bool ready() const { return m_ready; }

private:
    PP::workerProcess m_process;
    bool m_ready = false;
};

// Test certificates: a CA, and server certificates signed by it for localhost and 127.0.0.1
// ("good"), for another name ("wrong"), already expired ("old"); one self-signed ("self"),
// and a client certificate ("client"). Each X has X.pem and X.key in `dir`.
struct certificates {
    std::string dir;
    bool ok = false;
};
const certificates& testCertificates();

// Accepts up to `connections` connections, one after another, and hands each to `serve`
// with its request head already read (empty when none came).
class scriptedServer {
public:
    using handler = std::function<void(PP::netStream& s, const std::string& head, int index)>;
    // Without `readHead` the connection is handed over untouched (for TLS).
    scriptedServer(handler serve, int connections = 1, bool readHead = true);
    ~scriptedServer();
    std::string port() const { return std::to_string(m_port); }
    std::string url(const std::string& path = "/") const { return "http://127.0.0.1:" + port() + path; }
    int served() const { return m_served.load(); }

private:
    XSocket m_listen = XInvalidSocket;
    uint16_t m_port = 0;
    PP::aborter m_stop;
    std::thread m_thread;
    std::atomic<int> m_served{0};
};

void sendText(PP::netStream& s, const std::string& text);

}  // namespace testsrv
