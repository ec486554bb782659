// Command lines, command files, presets and batch text all go through the option grammar, so
// no byte sequence may crash it. Beside that, for argument vectors the grammar can carry
// (no quote, no blank), the joined command line must split like the vector itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "foundation/options/xoption_list.h"
#include "foundation/platform/console.h"
#include "plugins/dsp_options.h"

namespace {

bool SameOptions(const XOptionList& a, const XOptionList& b) {
    if (a.Count() != b.Count()) return false;
    for (int64_t i = 0; i < a.Count(); ++i) {
        if (a.Names()[i] != b.Names()[i] || a.Values()[i] != b.Values()[i]) return false;
    }
    return true;
}

void FuzzText(const uint8_t* data, size_t size, int start) {
    std::u16string units(size / 2, u'\0');
    for (size_t i = 0; i < units.size(); ++i) {
        units[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
    }
    XString text{std::u16string_view(units)};
    XOptionList list;
    list.Parse(text, start);
    if (list.Names().Count() != list.Values().Count()) abort();
    XOptionList again(list.ToText());
    (void)again;

    DSPSpecList chain = ParseDSPString(text);
    // What FormatDSPOptions writes must read back as the same chain.
    DSPSpecList back = ParseDSPString(FormatDSPOptions(chain));
    // %s stops at a NUL, which may cut a DSP's '=' away; other text round-trips.
    bool hasNul = units.find(u'\0') != std::u16string::npos;
    if (!hasNul && back.size() != chain.size()) abort();
    MoveReplayGainLast(chain);
}

void FuzzArguments(const uint8_t* data, size_t size) {
    // NUL-separated items, as an argument vector.
    std::vector<std::string> items(1, "travex");
    std::string current;
    bool plain = true;
    for (size_t i = 0; i < size; ++i) {
        char c = static_cast<char>(data[i]);
        if (c == '\0') {
            items.push_back(current);
            current.clear();
            continue;
        }
        if (c == '"' || c == ' ') plain = false;
        current += c;
    }
    items.push_back(current);
    std::vector<const char*> argv;
    for (const std::string& item : items) argv.push_back(item.c_str());
    int argc = static_cast<int>(argv.size());

    XOptionList fromArgv;
    fromArgv.FromArgv(argc, argv.data(), 1);
    XString joined = XJoinCommandLine(argc, argv.data());
    XOptionList fromText;
    fromText.Parse(joined, joined.FindChar(u'"', 2) + 1);
    if (plain && !SameOptions(fromArgv, fromText)) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    // An exact-size heap copy, so that the address sanitizer sees any read past the end.
    std::vector<uint8_t> block(data + 1, data + size);
    const uint8_t* bytes = block.data();
    uint8_t mode = data[0];
    if (mode & 0x80) {
        FuzzArguments(bytes, block.size());
    } else {
        FuzzText(bytes, block.size(), (mode & 0x3F) - 2);
    }
    return 0;
}
