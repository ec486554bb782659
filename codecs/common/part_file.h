#pragma once
// A new output is written under a hidden name beside it, ".NAME.<random>.part", and takes its
// own name only once the encoder finished it: a killed run, a full disk or two runs racing for
// one name never leave a partial file that looks like a result.
#include <cstdint>
#include <string>
#include <string_view>

namespace codecrec {

// Hidden temporaries older than this, left by a killed run, go when a run writes beside them.
constexpr int64_t kStalePartSeconds = 3600;

class PartFile {
public:
    PartFile() = default;
    ~PartFile() { Discard(); }
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    // Clears stale temporaries beside target and creates a fresh empty one; false with the
    // reason in tvkit::os::LastErrorText.
    bool Create(const std::u16string& target);
    // Where the encoder writes; empty before Create.
    const std::u16string& Path() const { return temp; }
    // Moves the temporary onto the target name, replacing what was there.
    bool Commit();
    // Removes the temporary; nothing is left of this run.
    void Discard();

private:
    std::u16string target, temp;
};

// The folder part of a path, with its separator ("" for a bare name), and the name part.
std::u16string FolderOf(std::u16string_view path);
std::u16string NameOf(std::u16string_view path);
// Whether a file name has the form of a hidden temporary: ".NAME.<12 hex digits>.part".
bool IsPartName(std::u16string_view name);
// Removes the hidden temporaries in folder that are older than kStalePartSeconds.
void SweepStaleParts(const std::u16string& folder);

}  // namespace codecrec
