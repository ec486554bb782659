/* The few POSIX calls of the plug-in kit and the bundled plug-ins, on Windows, until the kit's
 * own OS layer covers them there. Found before the run-time's unistd.h in the Windows build of
 * plug-ins only. Descriptors are the run-time's; write() alone takes a host's handle, as the
 * log sinks are the only thing plug-ins write() to. */
#pragma once
#include <io.h>
#include <sys/types.h>

#include <stddef.h>

#ifndef O_CLOEXEC
/* Not inherited by child processes, and binary: every open of the plug-ins asks for it. */
#define O_CLOEXEC (_O_NOINHERIT | _O_BINARY)
#endif
#define FALLOC_FL_KEEP_SIZE 1
#define _SC_PAGESIZE 30

#ifdef __cplusplus
/* UTF-8 paths, as the plug-ins hand them on every system. */
int tvshim_open(const char* path, int flags, ...);
#define open tvshim_open
ssize_t pread(int fd, void* buffer, size_t count, off_t offset);
ssize_t pwrite(int fd, const void* buffer, size_t count, off_t offset);
int ftruncate64_shim(int fd, off_t length);
#define ftruncate ftruncate64_shim
/* Space is reserved by writing; this is only advice on Linux too. */
inline int fallocate(int, int, off_t, off_t) { return -1; }
long sysconf(int name);
/* The host's handle (a log sink), not a run-time descriptor. */
ssize_t write(int handle, const void* buffer, size_t count);
#endif
