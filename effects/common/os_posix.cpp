#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "os.h"

namespace tvfx::os {

bool File::Open(const std::string& path, Mode mode) {
    Close();
    int flags = O_CLOEXEC;
    if (mode == Mode::Read) flags |= O_RDONLY;
    if (mode == Mode::ReadWrite) flags |= O_RDWR;
    if (mode == Mode::Create) flags |= O_RDWR | O_CREAT | O_TRUNC;
    do {
        fd = ::open(path.c_str(), flags, 0644);
    } while (fd < 0 && errno == EINTR);
    return fd >= 0;
}

void File::Close() {
    if (fd >= 0) ::close(fd);
    fd = -1;
}

long long File::ReadAt(void* buffer, size_t size, uint64_t offset) {
    size_t done = 0;
    auto* p = static_cast<char*>(buffer);
    while (done < size) {
        const ssize_t n = ::pread(fd, p + done, size - done, static_cast<off_t>(offset + done));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return -1;
        if (n == 0) break;
        done += static_cast<size_t>(n);
    }
    return static_cast<long long>(done);
}

bool File::WriteAt(const void* buffer, size_t size, uint64_t offset) {
    size_t done = 0;
    const auto* p = static_cast<const char*>(buffer);
    while (done < size) {
        const ssize_t n = ::pwrite(fd, p + done, size - done, static_cast<off_t>(offset + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

uint64_t File::Size() const {
    struct stat st {};
    return fd >= 0 && ::fstat(fd, &st) == 0 ? static_cast<uint64_t>(st.st_size) : 0;
}

std::string File::LastError() { return std::strerror(errno); }

bool ReadWholeFile(const std::string& path, std::string& out) {
    File f;
    if (!f.Open(path, File::Mode::Read)) return false;
    out.resize(f.Size());
    const long long n = f.ReadAt(out.data(), out.size(), 0);
    if (n < 0) return false;
    out.resize(static_cast<size_t>(n));
    return true;
}

bool WriteWholeFile(const std::string& path, const std::string& data) {
    const std::string temp = path + ".part";
    {
        File f;
        if (!f.Open(temp, File::Mode::Create) || !f.WriteAt(data.data(), data.size(), 0)) {
            ::unlink(temp.c_str());
            return false;
        }
    }
    if (::rename(temp.c_str(), path.c_str()) != 0) {
        ::unlink(temp.c_str());
        return false;
    }
    return true;
}

bool IsFolder(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool IsWritableFolder(const std::string& path) { return IsFolder(path) && ::access(path.c_str(), W_OK | X_OK) == 0; }

std::vector<std::string> ListFolder(const std::string& folder, const std::string& suffix) {
    std::vector<std::string> names;
    DIR* d = ::opendir(folder.c_str());
    if (!d) return names;
    while (const dirent* e = ::readdir(d)) {
        const std::string name = e->d_name;
        if (name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
            names.push_back(name);
    }
    ::closedir(d);
    return names;
}

std::string TempFolder() {
    const char* env = std::getenv("TMPDIR");
    std::string path = env && *env ? env : "/tmp";
    if (path.back() != '/') path += '/';
    return path;
}

std::string ModuleFolder() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<void*>(&ModuleFolder), &info) == 0 || !info.dli_fname) return std::string();
    std::string path = info.dli_fname;
    char* real = ::realpath(path.c_str(), nullptr);
    if (real) {
        path = real;
        std::free(real);
    }
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

bool Library::Open(const std::string& path) {
    Close();
    handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    return handle != nullptr;
}

void Library::Close() {
    if (handle) ::dlclose(handle);
    handle = nullptr;
}

void* Library::Symbol(const char* name) const { return handle ? ::dlsym(handle, name) : nullptr; }

void SleepMs(unsigned ms) {
    timespec ts{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000L};
    while (::nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
}

namespace {
double Seconds(clockid_t clock) {
    timespec ts{};
    ::clock_gettime(clock, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}
}  // namespace

double MonotonicSeconds() { return Seconds(CLOCK_MONOTONIC); }
double ProcessCpuSeconds() { return Seconds(CLOCK_PROCESS_CPUTIME_ID); }

}  // namespace tvfx::os
