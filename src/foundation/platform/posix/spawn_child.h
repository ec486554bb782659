#pragma once
// The one way this layer starts a program: searched on PATH, with this environment, every
// signal at its default and none blocked, whatever the starting thread had.
#include <spawn.h>

#include "foundation/platform/process.h"

// Starts argv[0] with the file actions (null for none). False with the last error.
bool XPosixSpawn(const char* const* argv, const posix_spawn_file_actions_t* actions, XProcessId* pid);
