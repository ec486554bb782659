#include "test_servers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/net/address.h"

namespace testsrv {

namespace {

XSocket listenOn(uint16_t& port) {
    PP::addressRecord a = PP::numericAddress("127.0.0.1", 0);
    XSocket s = XSocketOpen(a.family, XWsa::Stream, XWsa::ProtoTcp);
    EXPECT_NE(s, XInvalidSocket);
    EXPECT_TRUE(XSocketBind(s, a.raw.data(), a.raw.size()));
    EXPECT_TRUE(XSocketListen(s, 16));
    std::vector<uint8_t> raw;
    EXPECT_TRUE(XSocketLocalAddress(s, raw));
    XAddressNumeric(raw.data(), raw.size(), nullptr, nullptr, &port);
    return s;
}

// The scratch folders of this process, removed when it ends.
struct scratchFolders {
    std::vector<std::string> dirs;
    ~scratchFolders() {
        std::error_code ignored;  // a folder already gone is fine
        for (const auto& d : dirs) std::filesystem::remove_all(d, ignored);
    }
};
scratchFolders& folders() {
    static scratchFolders f;
    return f;
}

bool accepts(uint16_t port) {
    try {
        PP::netStream s;
        s.setTimeout(5.0);
        s.connect("127.0.0.1", std::to_string(port), 0);
        return true;
    } catch (const PP::network_error&) {
        return false;  // not listening yet
    }
}

}  // namespace

uint16_t freePort() {
    uint16_t port = 0;
    XSocket s = listenOn(port);
    XSocketClose(s);
    return port;
}

std::string scratchDir(const std::string& name) {
    static std::atomic<int> counter{0};
    static const unsigned runId = std::random_device{}();
    std::string dir =
        testing::TempDir() + "tvhttp-" + std::to_string(runId) + "-" + name + "-" + std::to_string(counter++) + "/";
    run("rm -rf '" + dir + "' && mkdir -p '" + dir + "'");
    folders().dirs.push_back(dir);
    return dir;
}

void writeText(const std::string& path, const std::string& text) {
    std::ofstream f(path, std::ios::binary);
    f << text;
}

std::string readText(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

int run(const std::string& commandLine, const std::string& dir, double seconds) {
    PP::workerProcess w;
    w.commandLine = commandLine;
    w.directory = dir;
    w.stdoutMode = PP::workerProcess::modeInherit;
    w.stderrMode = PP::workerProcess::modeInherit;
    w.start();
    int status = w.waitForExit(seconds);
    if (status < 0) w.stop(true);
    return status;
}

std::string tvgetPath() { return std::string(TV_BIN_DIR) + "/tvget"; }

outcome fetch(const std::string& dir, const std::string& args, const std::string& env) {
    int status = run(env + " '" + tvgetPath() + "' " + args + " > out.bin 2> err.txt", dir, 60.0);
    return {status, readText(dir + "out.bin"), readText(dir + "err.txt")};
}

std::string readBody(PP::streamIn& s, size_t limit) {
    std::string out;
    char buf[65536];
    while (out.size() < limit) {
        size_t n = s.read(buf, std::min(sizeof buf, limit - out.size()));
        if (n == 0) break;
        out.append(buf, n);
    }
    return out;
}

trustOnly::trustOnly(const std::string& file) { setenv("SSL_CERT_FILE", file.c_str(), 1); }
trustOnly::~trustOnly() { unsetenv("SSL_CERT_FILE"); }

serverProcess::serverProcess(const std::string& commandLine, uint16_t port, const std::string& dir) {
    m_process.commandLine = "exec " + commandLine;
    m_process.directory = dir;
    m_process.stdoutMode = PP::workerProcess::modeNone;
    m_process.stderrMode = PP::workerProcess::modeInherit;
    m_process.start();
    for (int i = 0; i < 300 && !m_ready; ++i) {
        if (accepts(port)) {
            m_ready = true;
            break;
        }
        if (m_process.waitForExit(0.05) >= 0) break;  // it gave up
    }
    EXPECT_TRUE(m_ready) << "server did not start: " << commandLine;
}

serverProcess::~serverProcess() { m_process.stop(true); }

const certificates& testCertificates() {
    static certificates c = [] {
        certificates out;
        out.dir = scratchDir("certs");
        const std::string key = "-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes";
        std::string script =
            "set -e; exec 2>/dev/null;"
            "openssl req -x509 " +
            key +
            " -days 3 -subj '/CN=Tonvale Test CA' -keyout ca.key -out ca.pem;"
            "sign() { openssl req " +
            key +
            " -subj \"/CN=$2\" -keyout $1.key -out $1.csr;"
            " printf 'subjectAltName=%s\\n' \"$3\" > $1.ext;"
            " openssl x509 -req -in $1.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days $4 -extfile $1.ext -out "
            "$1.pem; };"
            "sign good localhost DNS:localhost,IP:127.0.0.1 3;"
            "sign wrong elsewhere.test DNS:elsewhere.test 3;"
            "sign old localhost DNS:localhost,IP:127.0.0.1 -1;"
            "sign client 'Test Client' DNS:client.test 3;"
            "openssl req -x509 " +
            key +
            " -days 3 -subj /CN=localhost -addext subjectAltName=DNS:localhost,IP:127.0.0.1"
            " -keyout self.key -out self.pem;";
        out.ok = run(script, out.dir) == 0;
        return out;
    }();
    return c;
}

void sendText(PP::netStream& s, const std::string& text) { s.write(text.data(), text.size()); }

scriptedServer::scriptedServer(handler serve, int connections, bool readHead) {
    m_listen = listenOn(m_port);
    m_thread = std::thread([this, serve, connections, readHead] {
        PP::abortScope scope(m_stop);
        for (int i = 0; i < connections; ++i) {
            try {
                PP::socketRecord rec{m_listen, 30.0};
                PP::socketWait(rec, true, false);
                XSocket c = XSocketAccept(m_listen, nullptr);
                if (c == XInvalidSocket) return;
                PP::netStream peer(c);
                peer.setTimeout(20.0);
                std::string head, line;
                for (int k = 0; readHead && k < 200; ++k) {
                    if (!PP::readLine(peer, line, 65536) || line.empty()) break;
                    head += line + "\n";
                }
                ++m_served;
                serve(peer, head, i);
            } catch (const PP::user_abort&) {
                return;
            } catch (const std::exception&) {
                // A client that went away: the test judges from its side.
            }
        }
    });
}

scriptedServer::~scriptedServer() {
    m_stop.abort();
    m_thread.join();
    XSocketClose(m_listen);
}

}  // namespace testsrv
