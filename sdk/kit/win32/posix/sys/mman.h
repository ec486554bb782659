/* Read-only file mappings for the plug-ins on Windows (see unistd.h beside this file). A
 * private mapping is a copy-on-write view of the file. */
#pragma once
#include <unistd.h>

#define PROT_READ 1
#define PROT_WRITE 2
#define MAP_PRIVATE 2
#define MAP_FAILED ((void*)-1)
#define MADV_SEQUENTIAL 2
#define MADV_DONTNEED 4

#ifdef __cplusplus
void* mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset);
int munmap(void* address, size_t length);
/* Pages of a copy-on-write view that were never written stay the file's: nothing to drop. */
inline int madvise(void*, size_t, int) { return 0; }
#endif
