// POSIX backend of the kit's process services.
#include <dlfcn.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "tvkit/os_error_posix.h"
#include "tvkit/os_process.h"
#include "tvkit/text.h"

namespace tvkit::os {

namespace {
double Seconds(clockid_t clock) {
    timespec ts{};
    ::clock_gettime(clock, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}
}  // namespace

std::u16string ModuleFolder() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<void*>(&ModuleFolder), &info) == 0 || !info.dli_fname) return {};
    std::string path = info.dli_fname;
    if (char* real = ::realpath(path.c_str(), nullptr)) {
        path = real;
        std::free(real);
    }
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::u16string() : Utf8ToUtf16(path.substr(0, slash + 1));
}

bool Library::Open(const std::u16string& path) {
    Close();
    errno = 0;
    handle = ::dlopen(Utf16ToUtf8(path).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle) return true;
    const int error = errno ? errno : ELIBBAD;
    const char* text = ::dlerror();
    return posix::FailedWith(error, text ? Utf8ToUtf16(text) : std::u16string());
}

void Library::Close() {
    if (handle) ::dlclose(handle);  // nothing to do about a failure on the way out
    handle = nullptr;
}

void* Library::Symbol(const char* name) const { return handle ? ::dlsym(handle, name) : nullptr; }

void SleepMs(unsigned ms) {
    timespec ts{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000L};
    while (::nanosleep(&ts, &ts) != 0 && errno == EINTR) {}
}

double MonotonicSeconds() { return Seconds(CLOCK_MONOTONIC); }

double ProcessCpuSeconds() { return Seconds(CLOCK_PROCESS_CPUTIME_ID); }

void* ReserveMemory(size_t bytes) {
    void* memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory != MAP_FAILED) return memory;
    posix::Failed();
    return nullptr;
}

void PopulateMemory(void* memory, size_t bytes) {
#ifdef MADV_POPULATE_WRITE
    // Only advice: refused (an older kernel, no memory now), the pages come on first touch.
    ::madvise(memory, bytes, MADV_POPULATE_WRITE);
#else
    (void)memory;
    (void)bytes;
#endif
}

void FreeMemory(void* memory, size_t bytes) {
    if (memory) ::munmap(memory, bytes);  // fails only for an address not mapped here
}

bool LowerThreadToIdle() {
#ifdef SCHED_IDLE
    // The idle class, not merely the lowest nice value: a processor running only such a thread
    // counts as free, so that a thread of the process that wakes (an encoder's helper) goes
    // there at once instead of taking turns with the conversion's own thread.
    sched_param param{};
    if (::pthread_setschedparam(::pthread_self(), SCHED_IDLE, &param) == 0) return true;
#endif
    // Linux keeps a nice value per thread, addressed by its thread id.
    return ::setpriority(PRIO_PROCESS, static_cast<id_t>(::syscall(SYS_gettid)), 19) == 0 || posix::Failed();
}

}  // namespace tvkit::os
