#pragma once
// TCP as blocking streams made of non-blocking calls: every wait has the socket's time-out and
// wakes on the thread's aborter.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "foundation/platform/sockets.h"
#include "foundation/platform/wait_handles.h"
#include "pp/net/address.h"
#include "pp/stream.h"

namespace PP {

struct socketRecord {
    XSocket handle = XInvalidSocket;
    // Seconds a wait may take; negative is no limit. Read at each wait.
    double timeoutSeconds = -1.0;
};

// Told of the stages of a connect: 1 socket made, 2 connected.
class netStreamListener {
public:
    virtual ~netStreamListener() = default;
    virtual void onConnectStage(int stage, const addressRecord& address) = 0;
};

constexpr uint32_t connectSecure = 1;

class netStreamBase : public streamIn, public streamOut {
public:
    virtual void connect(const std::string& host, const std::string& service, uint32_t flags) = 0;
    virtual const socketRecord* socket() const = 0;
    virtual socketRecord* socket() = 0;
    // Writes until done, or until the peer has something to say: a server answering early does
    // not want the rest. Returns the count taken.
    virtual size_t sendAll(const void* buffer, size_t length);
    virtual void setTimeout(double seconds);
    virtual bool isOpen();
    virtual void close() = 0;
    // 0 receiving, 1 sending, 2 both.
    virtual void shutdown(int how);
    virtual void addListener(std::shared_ptr<netStreamListener> listener);
    virtual uint32_t localFlags() { return 0; }
    virtual void setNoDelay(bool on);
    // An idle kept connection must show nothing: readable or failed throws network_error.
    virtual void checkAlive() = 0;
};

class netStream : public netStreamBase {
public:
    netStream() = default;
    // Takes an accepted or otherwise connected socket.
    explicit netStream(XSocket connected);
    netStream(const netStream&) = delete;
    netStream& operator=(const netStream&) = delete;
    ~netStream() override;

    // Until `length` or the peer's end; each wait has the time-out and the aborter.
    size_t read(void* buffer, size_t length) override;
    size_t readAvailable(void* buffer, size_t length) override;
    void waitReadable() override;
    bool isReadable() override;
    void write(const void* buffer, size_t length) override;
    // One send of at most sendStep bytes; 0 when the socket takes nothing now.
    size_t writeSome(const void* buffer, size_t length) override;
    void waitWritable() override;
    bool isWritable() override;

    void connect(const std::string& host, const std::string& service, uint32_t flags) override;
    const socketRecord* socket() const override { return &m_socket; }
    socketRecord* socket() override { return &m_socket; }
    size_t sendAll(const void* buffer, size_t length) override;
    void close() override;
    void addListener(std::shared_ptr<netStreamListener> listener) override;
    void checkAlive() override;

    static constexpr size_t sendStep = 16384;

private:
    void notify(int stage, const addressRecord& a);

    socketRecord m_socket;
    std::vector<std::shared_ptr<netStreamListener>> m_listeners;
};

// Readiness bits of socketWait.
constexpr int socketReadable = 1;
constexpr int socketWritable = 2;

// Waits for the socket with its record's time-out: a mask of socketReadable/socketWritable.
// Past the time-out network_error_timeout; a failed socket or nothing ready network_error.
int socketWait(socketRecord& s, bool read, bool write);
// Waits on the entries for `seconds` (negative: no limit). With an aborter the wait runs in
// slices of 0.1 s with the aborter polled beside the sockets; without one, in waits of at most
// 3600 s. True when any entry fired. A failing wait is network_error.
bool socketSelect(XWaitEntry* entries, size_t count, double seconds);

}  // namespace PP
