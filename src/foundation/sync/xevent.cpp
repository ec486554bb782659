#include "foundation/sync/xevent.h"

#include <utility>

#include "foundation/platform/guid.h"

XEvent::XEvent(const char16_t* name) { Create(name); }

XEvent::~XEvent() { Close(); }

XEvent::XEvent(XEvent&& other) noexcept
    : handle(std::exchange(other.handle, nullptr)), existed(std::exchange(other.existed, false)) {}

XEvent& XEvent::operator=(XEvent&& other) noexcept {
    if (this != &other) {
        Close();
        handle = std::exchange(other.handle, nullptr);
        existed = std::exchange(other.existed, false);
    }
    return *this;
}

bool XEvent::Create(const char16_t* name) {
    Close();
    handle = XCreateEventObject(name, &existed);
    return handle != nullptr;
}

XString XEvent::CreateUnique(const char16_t* prefix) {
    XString name(prefix ? prefix : u"");
    name.AppendFast(XNewGuidText());
    Create(name.Text());
    return name;
}

void XEvent::Attach(XObjectHandle other) {
    Close();
    handle = other;
    existed = true;
}

bool XEvent::AttachCopy(XObjectHandle other) {
    Close();
    handle = XDuplicateObject(other);
    existed = true;
    return handle != nullptr;
}

XObjectHandle XEvent::Detach() {
    existed = false;
    return std::exchange(handle, nullptr);
}

void XEvent::Close() {
    XCloseObject(std::exchange(handle, nullptr));
    existed = false;
}

bool XEvent::Set() { return handle && XSetEventObject(handle); }

bool XEvent::Reset() { return handle && XResetEventObject(handle); }

bool XEvent::Wait(uint32_t milliseconds) const {
    return handle && XWaitEventObject(handle, milliseconds) == XWaitObject0;
}

bool XEvent::Toggle() {
    if (IsSet()) {
        Reset();
        return false;
    }
    Set();
    return true;
}

int XEvent::WaitEither(const XEvent& first, const XEvent& second, uint32_t milliseconds) {
    if (!first.handle || !second.handle) return -1;
    int r = XWaitEitherEventObject(first.handle, second.handle, milliseconds);
    if (r == 0 || r == 1) return r + 1;
    return r == -1 ? 0 : -1;
}
