#include "part_file.h"

#include <vector>

#include "tvkit/os_file.h"

namespace codecrec {

namespace {

constexpr std::u16string_view kSuffix = u".part";
constexpr size_t kRandomDigits = 12;
constexpr int kCreateTries = 8;  // a clash of 48 random bits is already unlikely once
// Of a long output name only the start goes into the hidden name, which must stay within the
// file systems' 255 bytes (64 UTF-16 units are at most 192 UTF-8 bytes).
constexpr size_t kNameUnits = 64;

std::u16string Hex(uint64_t v) {
    std::u16string text(kRandomDigits, u'0');
    for (size_t i = kRandomDigits; i-- > 0; v >>= 4) text[i] = u"0123456789abcdef"[v & 0xF];
    return text;
}

}  // namespace

std::u16string FolderOf(std::u16string_view path) {
    const size_t slash = path.find_last_of(tvkit::os::Separators());
    return slash == std::u16string_view::npos ? std::u16string() : std::u16string(path.substr(0, slash + 1));
}

std::u16string NameOf(std::u16string_view path) {
    const size_t slash = path.find_last_of(tvkit::os::Separators());
    return std::u16string(slash == std::u16string_view::npos ? path : path.substr(slash + 1));
}

bool IsPartName(std::u16string_view name) {
    // "." + at least one character + "." + digits + ".part"
    if (name.size() < 3 + kRandomDigits + kSuffix.size() || name[0] != u'.' || !name.ends_with(kSuffix)) return false;
    const size_t digitsAt = name.size() - kSuffix.size() - kRandomDigits;
    if (name[digitsAt - 1] != u'.') return false;
    for (size_t i = digitsAt; i < digitsAt + kRandomDigits; ++i)
        if (!((name[i] >= u'0' && name[i] <= u'9') || (name[i] >= u'a' && name[i] <= u'f'))) return false;
    return true;
}

void SweepStaleParts(const std::u16string& folder) {
    std::vector<tvkit::os::FolderEntry> entries;
    if (!tvkit::os::ListFolder(folder, entries)) return;  // the create that follows tells why
    for (const tvkit::os::FolderEntry& e : entries)
        if (e.ageSeconds > kStalePartSeconds && IsPartName(e.name))
            (void)tvkit::os::Remove(folder + e.name);  // another run may have taken it first
}

bool PartFile::Create(const std::u16string& path) {
    Discard();
    const std::u16string folder = FolderOf(path);
    SweepStaleParts(folder);
    std::u16string name = NameOf(path);
    if (name.size() > kNameUnits) {
        name.resize(kNameUnits);
        if (name.back() >= 0xD800 && name.back() <= 0xDBFF) name.pop_back();  // no half of a pair
    }
    const std::u16string hidden = folder + u"." + name + u".";
    for (int tries = 0; tries < kCreateTries; ++tries) {
        const std::u16string name = hidden + Hex(tvkit::os::RandomNumber()) + std::u16string(kSuffix);
        tvkit::os::File file;
        if (file.CreateNew(name)) {
            target = path;
            temp = name;
            return true;
        }
        if (!tvkit::os::LastErrorIsExists()) return false;
    }
    return false;
}

bool PartFile::Commit() {
    if (temp.empty() || !tvkit::os::Rename(temp, target)) return false;
    temp.clear();
    return true;
}

void PartFile::Discard() {
    if (!temp.empty()) (void)tvkit::os::Remove(temp);  // nothing more can be done about a leftover
    temp.clear();
}

}  // namespace codecrec
