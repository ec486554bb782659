// XHashedStringList and its hash.
#include "foundation/text/xstring_list.h"

namespace {
struct CrcTable {
    uint32_t v[256];
    constexpr CrcTable() : v() {
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t c = i;
            for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            v[i] = c;
        }
    }
};
constexpr CrcTable Crc;
}  // namespace

uint32_t XCrc32Upper(const char16_t* text) {
    uint32_t crc = 0xFFFFFFFFu;
    if (text != nullptr)
        for (const char16_t* p = text; *p != 0; ++p) {
            char16_t c = *p >= u'a' && *p <= u'z' ? *p - 32 : *p;
            crc = Crc.v[(crc ^ (c & 0xFF)) & 0xFF] ^ (crc >> 8);
            crc = Crc.v[(crc ^ (c >> 8)) & 0xFF] ^ (crc >> 8);
        }
    return ~crc;
}

XString* XHashedStringList::Add(const char16_t* text, uint64_t tag) {
    XString* s = XStringList::Add(text, tag);
    hashes.Add(XCrc32Upper(s->Text()));
    return s;
}

void XHashedStringList::Rehash() {
    hashes.SetCount(Count());
    for (int64_t i = 0; i < Count(); ++i) hashes[i] = XCrc32Upper(Item(i)->Text());
}

bool XHashedStringList::Find(const char16_t* text, bool ignoreCase, int64_t* index) const {
    if (hashes.Count() != Count() || text == nullptr) return false;
    uint64_t hash = XCrc32Upper(text);
    for (int64_t i = 0; i < Count(); ++i)
        if (hashes[i] == hash && XString::Compare(Item(i)->Text(), text, 0, ignoreCase) == 0) {
            if (index != nullptr) *index = i;
            return true;
        }
    return false;
}

void XHashedStringList::RemoveAt(int64_t index) {
    if (index < 0 || index >= Count()) return;
    bool inStep = hashes.Count() == Count();
    XStringList::RemoveAt(index);
    if (inStep) hashes.RemoveAt(index);
}

void XHashedStringList::Clear() {
    XStringList::Clear();
    hashes.Clear();
}
