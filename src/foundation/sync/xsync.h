#pragma once
// The sync classes in one include: events, mutexes, threads and the shared block.
#include "foundation/sync/xevent.h"
#include "foundation/sync/xmutex.h"
#include "foundation/sync/xshared_memory.h"
#include "foundation/sync/xthread.h"
