// The parts of the file layer built on its other calls, the same on every system.
#include <cstdio>

#include "tvkit/os_file.h"
#include "tvkit/text.h"

namespace tvkit::os {

bool ReadWholeFile(const std::u16string& path, std::string& out) {
    out.clear();
    File file;
    uint64_t size = 0;
    if (!file.OpenRead(path) || !file.Size(size)) return false;
    out.resize(static_cast<size_t>(size));
    size_t got = 0;
    if (!file.ReadAt(out.data(), out.size(), 0, got)) return false;
    out.resize(got);  // a file cut short meanwhile is read as far as it goes
    return true;
}

bool WriteWholeFile(const std::u16string& path, std::string_view data) {
    // A name of its own, so that two writers of one path never share the file beside it.
    char tag[24];
    std::snprintf(tag, sizeof tag, ".%016llx.part", static_cast<unsigned long long>(RandomNumber()));
    const std::u16string temp = path + Utf8ToUtf16(tag);
    File file;
    if (!file.CreateNew(temp)) return false;
    if (file.WriteAt(data.data(), data.size(), 0) && file.Close() && Rename(temp, path)) return true;
    // The file beside is still there, so removing it succeeds and leaves the reason in place.
    (void)file.Close();
    (void)Remove(temp);
    return false;
}

}  // namespace tvkit::os
