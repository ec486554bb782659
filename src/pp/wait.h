#pragma once
// Waits that end early when the calling thread's aborter fires.
#include <cstddef>
#include <cstdint>

namespace PP {

class waitable;

constexpr uint32_t waitForever = 0xFFFFFFFFu;
constexpr size_t waitTimedOut = ~size_t(0);

// Waits for one object (and the thread's aborter): true when the object's wait is satisfied,
// false on time-out. A fired aborter throws user_abort. A null object is satisfied at once.
bool waitOne(waitable* object, uint32_t milliseconds = waitForever);

// Waits for any of `count` objects for `seconds` (negative: no limit). Returns the index of
// the first object whose acquire agrees, or waitTimedOut. An object seen set whose acquire
// declines (a lock another waiter took first) leaves the wait going on for the time left.
size_t waitMany(waitable* const* objects, size_t count, double seconds);

// An abortable sleep: with an aborter in place it ends early only by user_abort.
void sleepSeconds(double seconds);

// Milliseconds of a time in seconds as the waits count them: negative is no limit.
uint32_t waitMilliseconds(double seconds);

}  // namespace PP
