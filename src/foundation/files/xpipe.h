#pragma once
// XPipe: an anonymous pipe as two XFile ends. One thread may write while another reads.
#include "foundation/files/xbuffer.h"
#include "foundation/files/xfile.h"
#include "foundation/text/xstring_list.h"

class XPipe {
public:
    XPipe() = default;
    ~XPipe() { Close(); }
    XPipe(const XPipe&) = delete;
    XPipe& operator=(const XPipe&) = delete;

    // Closes what it has and makes a new pipe; inheritable ends pass to child processes.
    bool Create(bool inheritable);
    // Adopts handles without owning them; 0 or -1 mean none.
    void Attach(XFileHandle read, XFileHandle write);
    // Closes both ends and both handles.
    void Close();
    // Hands an end over: an inheritable duplicate, the source closed; -1 when there is none.
    XFileHandle DetachRead();
    XFileHandle DetachWrite();

    // Bytes waiting, without waiting.
    uint32_t Available(bool* error = nullptr);
    uint32_t Read(void* buffer, uint32_t count, bool* error = nullptr);
    bool Write(const void* data, uint32_t count);
    // Moves everything now in the pipe into Input(); returns the bytes moved.
    uint64_t ReadAvailable(bool* error = nullptr);
    // ReadAvailable, then Input() as UTF-16 text split at CR LF into list (replacing it).
    // False when nothing was there.
    bool ReadAvailableLines(XStringList& list);

    XFile& ReadEnd() { return readEnd; }
    XFile& WriteEnd() { return writeEnd; }
    XFileHandle ReadHandle() const { return readHandle; }
    XFileHandle WriteHandle() const { return writeHandle; }
    XBuffer& Input() { return input; }

private:
    XFile readEnd;
    XFile writeEnd;
    XFileHandle readHandle = XInvalidHandle;
    XFileHandle writeHandle = XInvalidHandle;
    XBuffer input;
    bool owned = false;  // Create made the handles; Attach only borrows them
};
