// Waits on events, sockets and pipes together. Events (and other kernel objects) are waited on
// as they are; a socket gets an event of its own through WSAEventSelect for the length of the
// wait; an anonymous pipe has nothing to wait on, so it is looked at between short slices.
// Every wake is checked against the real state (select, PeekNamedPipe), so an event that
// fired for something else, or a change the event missed, costs at most one slice.
// clang-format off
#include <winsock2.h>
#include <windows.h>
// clang-format on

#include <algorithm>
#include <vector>

#include "foundation/platform/last_error.h"
#include "foundation/platform/sockets.h"
#include "foundation/platform/wait_handles.h"
#include "foundation/platform/win32/win32_util.h"
#include "foundation/platform/win32/winsock_init.h"

namespace {

// Longest single wait while a socket is involved, and while a pipe is.
constexpr DWORD socketSliceMs = 100;
constexpr DWORD pipeSliceMs = 10;

enum class Kind { Object, Socket, Pipe, File };

bool IsSocket(HANDLE h) {
    int type = 0;
    int len = sizeof type;
    const DWORD saved = GetLastError();
    const bool socket = XEnsureWinsock() && getsockopt(reinterpret_cast<SOCKET>(h), SOL_SOCKET, SO_TYPE,
                                                       reinterpret_cast<char*>(&type), &len) == 0;
    SetLastError(saved);
    return socket;
}

Kind KindOf(HANDLE h) {
    if (IsSocket(h)) return Kind::Socket;
    switch (GetFileType(h)) {
        case FILE_TYPE_PIPE:
            return Kind::Pipe;
        case FILE_TYPE_DISK:
        case FILE_TYPE_CHAR:
            return Kind::File;
        default:
            return Kind::Object;
    }
}

uint64_t NowMs() { return GetTickCount64(); }

// Events for the sockets of one wait, made for it and closed after it. (A per-thread pool
// would be cheaper, but MinGW runs thread_local destructors after the storage is gone.)
struct SocketEvents {
    std::vector<WSAEVENT> events;
    explicit SocketEvents(size_t count) {
        for (size_t i = 0; i < count; ++i) {
            WSAEVENT e = WSACreateEvent();
            if (e == WSA_INVALID_EVENT) break;
            events.push_back(e);
        }
    }
    ~SocketEvents() {
        for (WSAEVENT e : events) WSACloseEvent(e);
    }
    SocketEvents(const SocketEvents&) = delete;
    SocketEvents& operator=(const SocketEvents&) = delete;
};

}  // namespace

XFileHandle XCreateWaitEvent() {
    HANDLE e = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!e) return XInvalidHandle;
    return reinterpret_cast<XFileHandle>(e);
}

bool XSetWaitEvent(XFileHandle event) { return SetEvent(XNativeHandle(event)) != 0; }

bool XResetWaitEvent(XFileHandle event) { return ResetEvent(XNativeHandle(event)) != 0; }

bool XIsWaitEventSet(XFileHandle event) { return WaitForSingleObject(XNativeHandle(event), 0) == WAIT_OBJECT_0; }

int XWaitHandles(XWaitEntry* entries, size_t count, uint32_t milliseconds) {
    const bool infinite = milliseconds == 0xFFFFFFFFu;
    if (count == 0) {
        Sleep(milliseconds);
        return 0;
    }
    if (count > MAXIMUM_WAIT_OBJECTS || count > FD_SETSIZE) {
        XSetLastError(XErr::InvalidParameter);
        return -1;
    }
    std::vector<Kind> kinds(count);
    std::vector<HANDLE> natives(count);
    size_t sockets = 0;
    bool pipes = false;
    for (size_t i = 0; i < count; ++i) {
        natives[i] = XNativeHandle(entries[i].handle);
        kinds[i] = KindOf(natives[i]);
        if (kinds[i] == Kind::Socket) ++sockets;
        if (kinds[i] == Kind::Pipe) pipes = true;
    }
    SocketEvents made(sockets);
    std::vector<WSAEVENT>& pool = made.events;
    if (pool.size() < sockets) return -1;

    // What the wait sleeps on: the objects themselves and one event per socket.
    std::vector<HANDLE> sleepOn;
    std::vector<size_t> socketEntries;
    for (size_t i = 0; i < count; ++i) {
        if (kinds[i] == Kind::Object) sleepOn.push_back(natives[i]);
        if (kinds[i] != Kind::Socket) continue;
        WSAEVENT e = pool[socketEntries.size()];
        long mask = FD_CLOSE;
        if (entries[i].want & XWaitRead) mask |= FD_READ | FD_ACCEPT;
        if (entries[i].want & XWaitWrite) mask |= FD_WRITE | FD_CONNECT;
        WSAResetEvent(e);
        WSAEventSelect(reinterpret_cast<SOCKET>(natives[i]), e, mask);
        sleepOn.push_back(e);
        socketEntries.push_back(i);
    }

    const uint64_t end = infinite ? 0 : NowMs() + milliseconds;
    bool slept = false;
    int ready = 0;
    for (;;) {
        for (size_t n = 0; n < socketEntries.size(); ++n) WSAResetEvent(pool[n]);
        ready = 0;
        fd_set readable, writable, failed;
        FD_ZERO(&readable);
        FD_ZERO(&writable);
        FD_ZERO(&failed);
        for (size_t i : socketEntries) {
            SOCKET s = reinterpret_cast<SOCKET>(natives[i]);
            if (entries[i].want & XWaitRead) FD_SET(s, &readable);
            if (entries[i].want & XWaitWrite) FD_SET(s, &writable);
            FD_SET(s, &failed);
        }
        if (!socketEntries.empty()) {
            timeval now{0, 0};
            if (select(0, &readable, &writable, &failed, &now) == SOCKET_ERROR) {
                XSetLastError(static_cast<uint32_t>(WSAGetLastError()));
                ready = -1;
                break;
            }
        }
        for (size_t i = 0; i < count; ++i) {
            uint8_t found = 0;
            const uint8_t want = entries[i].want;
            switch (kinds[i]) {
                case Kind::Socket: {
                    SOCKET s = reinterpret_cast<SOCKET>(natives[i]);
                    if (FD_ISSET(s, &readable)) found |= XWaitRead;
                    if (FD_ISSET(s, &writable)) found |= XWaitWrite;
                    // A failed connect shows here, not as writable; a reader sees it too.
                    if (FD_ISSET(s, &failed)) found |= XWaitError | (want & (XWaitRead | XWaitWrite));
                    break;
                }
                case Kind::Pipe: {
                    if (want & XWaitRead) {
                        DWORD waiting = 0;
                        // A failed peek is a gone writer: the end of the stream, which a reader must see.
                        if (!PeekNamedPipe(natives[i], nullptr, 0, nullptr, &waiting, nullptr) || waiting > 0)
                            found |= XWaitRead;
                    }
                    // A pipe tells nothing of its free room: a writer is let go at once when it
                    // only asks, else after one slice, and tries again.
                    if ((want & XWaitWrite) && (milliseconds == 0 || slept)) found |= XWaitWrite;
                    break;
                }
                case Kind::File:
                    found = want & (XWaitRead | XWaitWrite);
                    break;
                case Kind::Object: {
                    const DWORD r = WaitForSingleObject(natives[i], 0);
                    if (r == WAIT_OBJECT_0 && (want & XWaitRead)) found |= XWaitRead;
                    if (r == WAIT_FAILED) found |= XWaitError;
                    break;
                }
            }
            entries[i].found = found;
            if (found) ++ready;
        }
        if (ready > 0) break;
        DWORD left = INFINITE;
        if (!infinite) {
            const uint64_t now = NowMs();
            if (now >= end) break;
            left = static_cast<DWORD>(end - now);
        }
        if (pipes) left = std::min(left, pipeSliceMs);
        if (!socketEntries.empty()) left = std::min(left, socketSliceMs);
        if (sleepOn.empty()) {
            Sleep(left);
        } else if (WaitForMultipleObjects(static_cast<DWORD>(sleepOn.size()), sleepOn.data(), FALSE, left) ==
                   WAIT_FAILED) {
            ready = -1;
            break;
        }
        slept = true;
    }
    const DWORD saved = GetLastError();
    // The socket goes back to having no event: ours may be gone by the next wait.
    for (size_t i : socketEntries) WSAEventSelect(reinterpret_cast<SOCKET>(natives[i]), nullptr, 0);
    SetLastError(saved);
    return ready;
}

bool XSetHandleNonBlocking(XFileHandle handle, bool nonBlocking) {
    HANDLE h = XNativeHandle(handle);
    switch (KindOf(h)) {
        case Kind::Socket:
            return XSocketSetNonBlocking(handle, nonBlocking);
        case Kind::Pipe: {
            // Reads never block anyway (they look first); this keeps a full pipe from holding a
            // writer past its aborter.
            DWORD mode = PIPE_READMODE_BYTE | (nonBlocking ? PIPE_NOWAIT : PIPE_WAIT);
            return SetNamedPipeHandleState(h, &mode, nullptr, nullptr) != 0;
        }
        default:
            return true;
    }
}

int64_t XReadHandleSome(XFileHandle handle, void* buffer, size_t length, bool* wouldBlock) {
    *wouldBlock = false;
    HANDLE h = XNativeHandle(handle);
    const DWORD want = static_cast<DWORD>(std::min<size_t>(length, 0x40000000));
    switch (KindOf(h)) {
        case Kind::Socket: {
            int64_t r = XSocketRecv(handle, buffer, want);
            if (r < 0 && XGetLastError() == XWsa::WouldBlock) {
                *wouldBlock = true;
                return 0;
            }
            return r;
        }
        case Kind::Pipe: {
            DWORD waiting = 0;
            if (!PeekNamedPipe(h, nullptr, 0, nullptr, &waiting, nullptr)) {
                if (GetLastError() == ERROR_BROKEN_PIPE) return 0;
                return -1;
            }
            if (waiting == 0) {
                *wouldBlock = true;
                return 0;
            }
            DWORD done = 0;
            if (!ReadFile(h, buffer, std::min(want, waiting), &done, nullptr)) {
                const DWORD e = GetLastError();
                if (e == ERROR_BROKEN_PIPE) return 0;
                if (e == ERROR_NO_DATA) {
                    *wouldBlock = true;
                    return 0;
                }
                return -1;
            }
            return done;
        }
        default: {
            DWORD done = 0;
            if (!ReadFile(h, buffer, want, &done, nullptr)) {
                const DWORD e = GetLastError();
                if (e == ERROR_HANDLE_EOF || e == ERROR_BROKEN_PIPE) return 0;
                return -1;
            }
            return done;
        }
    }
}

int64_t XWriteHandleSome(XFileHandle handle, const void* buffer, size_t length, bool* wouldBlock) {
    *wouldBlock = false;
    HANDLE h = XNativeHandle(handle);
    const DWORD want = static_cast<DWORD>(std::min<size_t>(length, 0x40000000));
    if (KindOf(h) == Kind::Socket) {
        int64_t r = XSocketSend(handle, buffer, want);
        if (r < 0 && XGetLastError() == XWsa::WouldBlock) {
            *wouldBlock = true;
            return 0;
        }
        return r;
    }
    DWORD done = 0;
    if (!WriteFile(h, buffer, want, &done, nullptr)) {
        const DWORD e = GetLastError();
        // ERROR_NO_DATA is a pipe whose reader is gone.
        if (e == ERROR_NO_DATA) XSetLastError(XErr::BrokenPipe);
        return -1;
    }
    if (done == 0) *wouldBlock = true;
    return done;
}
