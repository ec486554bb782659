#pragma once
// XEvent: a manual-reset event, unnamed or shared by name with other processes of the user.
#include <cstdint>

#include "foundation/platform/named_objects.h"
#include "foundation/text/xstring.h"

class XEvent {
public:
    // No event until Create.
    XEvent() = default;
    // Creates at once; a null name gives an unnamed event.
    explicit XEvent(const char16_t* name);
    ~XEvent();
    XEvent(const XEvent&) = delete;
    XEvent& operator=(const XEvent&) = delete;
    XEvent(XEvent&& other) noexcept;
    XEvent& operator=(XEvent&& other) noexcept;

    // Not signalled at first; `existed` tells that somebody held the name already. A second
    // Create closes the first handle.
    bool Create(const char16_t* name = nullptr);
    // A name made of the prefix and a new GUID's 32 digits; returns the name.
    XString CreateUnique(const char16_t* prefix);
    // Takes the handle; marks `existed`, since the event did not start here.
    void Attach(XObjectHandle other);
    // A second handle on the event behind `other`; the same mark.
    bool AttachCopy(XObjectHandle other);
    // Gives up the handle without closing it.
    XObjectHandle Detach();
    void Close();

    bool Set();
    bool Reset();
    bool IsSet() const { return Wait(0); }
    // True when signalled within the time (XInfinite: no limit); false with no handle.
    bool Wait(uint32_t milliseconds) const;
    // Resets a set event and sets a clear one; returns whether it was clear.
    bool Toggle();
    // 1 or 2 for the event that fired, 0 on time-out, -1 otherwise.
    static int WaitEither(const XEvent& first, const XEvent& second, uint32_t milliseconds);

    XObjectHandle Handle() const { return handle; }
    bool Existed() const { return existed; }

    XObjectHandle handle = nullptr;
    bool existed = false;
};
