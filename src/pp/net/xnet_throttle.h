#pragma once
// Pacing of the older socket classes: told of the bytes moved, asked whether to go on, and
// asked to wait. The default notes nothing, always goes on, and sleeps as asked.
#include <cstdint>

class XNetThrottle {
public:
    virtual ~XNetThrottle() = default;
    virtual void NoteBytes(uint64_t count) { (void)count; }
    virtual bool ShouldContinue(uint32_t waitHintMs) {
        (void)waitHintMs;
        return true;
    }
    // 0 does not sleep at all.
    virtual void Wait(uint32_t milliseconds);
};
