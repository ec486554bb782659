// List operations of XIDTags. Lists hold tens of items, so every lookup is a linear scan.
#include "tags/id_tags.h"

#include <atomic>
#include <cstring>
#include <new>

namespace {

std::atomic<uint64_t> g_dataCopies{0};
std::atomic<uint64_t> g_dataCopiedBytes{0};

constexpr char16_t kAlbumArtPrefix[] = u"_albumart_";
constexpr int kAlbumArtPrefixLength = 10;
constexpr char16_t kSubdesc[] = u"<subdesc>";

char16_t FoldAscii(char16_t c) { return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c; }

bool EqualFolded(const char16_t* a, const char16_t* b, int length) {
    for (int i = 0; i < length; ++i) {
        if (FoldAscii(a[i]) != FoldAscii(b[i])) return false;
    }
    return true;
}

// Length of a name as compared with ignoreSubdesc: album-art names end before "<subdesc>".
int SubdescCutLength(const XString& name) {
    if (!XTagNameStartsWith(name, kAlbumArtPrefix, kAlbumArtPrefixLength)) return name.Length();
    int at = name.Find(kSubdesc);
    return at > 0 ? at - 1 : name.Length();
}

}  // namespace

XTagData::XTagData(const XTagData& other) { Assign(other.Bytes(), other.Size()); }

XTagData::XTagData(XTagData&& other) noexcept : bytes(std::move(other.bytes)), size(other.size) { other.size = 0; }

XTagData& XTagData::operator=(const XTagData& other) {
    if (this != &other) Assign(other.Bytes(), other.Size());
    return *this;
}

XTagData& XTagData::operator=(XTagData&& other) noexcept {
    if (this != &other) {
        bytes = std::move(other.bytes);
        size = other.size;
        other.size = 0;
    }
    return *this;
}

void XTagData::Assign(const void* source, size_t count) {
    if (source == nullptr || count == 0) {
        Clear();
        return;
    }
    std::unique_ptr<uint8_t[]> fresh(new uint8_t[count]);
    std::memcpy(fresh.get(), source, count);
    bytes = std::move(fresh);
    size = count;
    g_dataCopies.fetch_add(1, std::memory_order_relaxed);
    g_dataCopiedBytes.fetch_add(count, std::memory_order_relaxed);
}

void XTagData::Clear() {
    bytes.reset();
    size = 0;
}

uint64_t XTagData::CopyCount() { return g_dataCopies.load(std::memory_order_relaxed); }
uint64_t XTagData::CopiedBytes() { return g_dataCopiedBytes.load(std::memory_order_relaxed); }

bool XTagNameEqual(const XString& a, const XString& b) {
    return a.Length() == b.Length() && EqualFolded(a.Text(), b.Text(), a.Length());
}

bool XTagNameStartsWith(const XString& name, const char16_t* prefix, int prefixLength) {
    return name.Length() >= prefixLength && EqualFolded(name.Text(), prefix, prefixLength);
}

XIDTagItem* XIDTags::At(int index) const {
    if (index < 0 || index >= Count()) return nullptr;
    return items[static_cast<size_t>(index)].get();
}

void XIDTags::Clear() {
    items.clear();
    lastTouched = nullptr;
}

XIDTagItem* XIDTags::AddMove(XIDTagItem&& item) {
    items.push_back(std::make_unique<XIDTagItem>(std::move(item)));
    lastTouched = items.back().get();
    return lastTouched;
}

XIDTagItem* XIDTags::Add(const XString& name, const XString& value) {
    XIDTagItem item;
    item.Name = name;
    item.Value = value;
    return AddMove(std::move(item));
}

XIDTagItem* XIDTags::AddBinary(const XString& name, const void* bytes, size_t size) {
    XIDTagItem item;
    item.Name = name;
    item.Data.Assign(bytes, size);
    return AddMove(std::move(item));
}

XIDTagItem* XIDTags::AddItem(const XIDTagItem& item) {
    XIDTagItem copy;
    copy.Name = item.Name;
    copy.Value = item.Value;
    copy.Data = item.Data;
    return AddMove(std::move(copy));
}

int XIDTags::IndexOf(const XString& name, bool ignoreSubdesc) const {
    if (!ignoreSubdesc) {
        for (int i = 0; i < Count(); ++i) {
            if (XTagNameEqual(items[size_t(i)]->Name, name)) return i;
        }
        return -1;
    }
    const int wanted = SubdescCutLength(name);
    for (int i = 0; i < Count(); ++i) {
        const XString& own = items[size_t(i)]->Name;
        if (SubdescCutLength(own) == wanted && EqualFolded(own.Text(), name.Text(), wanted)) {
            return i;
        }
    }
    return -1;
}

XIDTagItem* XIDTags::Find(const XString& name, bool ignoreSubdesc) {
    int index = IndexOf(name, ignoreSubdesc);
    if (index < 0) return nullptr;
    lastTouched = items[size_t(index)].get();
    return lastTouched;
}

const XIDTagItem* XIDTags::Find(const XString& name, bool ignoreSubdesc) const {
    int index = IndexOf(name, ignoreSubdesc);
    return index < 0 ? nullptr : items[size_t(index)].get();
}

XString XIDTags::GetValue(const XString& name) const {
    const XIDTagItem* item = Find(name);
    return item ? item->Value : XString();
}

XString XIDTags::GetFirstLine(const XString& name) const {
    XString value = GetValue(name);
    int cr = value.FindChar(u'\r');
    return cr > 0 ? value.Left(cr - 1) : value;
}

void XIDTags::SetValue(const XString& name, const XString& value) {
    XIDTagItem* item = Find(name);
    if (item) {
        item->Value = value;
    } else {
        Add(name, value);
    }
}

void XIDTags::Overwrite(XIDTagItem& target, const XIDTagItem& source) {
    if (&target == &source) return;
    target.Name = source.Name;
    target.Value = source.Value;
    target.Data = source.Data;
}

void XIDTags::SetItem(const XIDTagItem& item) {
    XIDTagItem* found = Find(item.Name);
    if (found) {
        Overwrite(*found, item);
    } else {
        AddItem(item);
    }
}

XString XIDTags::Take(const XString& name) {
    if (!XTagNameStartsWith(name, kAlbumArtPrefix, kAlbumArtPrefixLength)) {
        XString value;
        if (const XIDTagItem* item = Find(name)) {
            value = item->Value;
            RemoveAll(name);
        }
        return value;
    }
    // A picture is taken by its "_albumart_<index>" head alone; the prefix match also hits
    // higher indices that start with the same digits, which callers rely on staying so.
    int separator = name.FindChar(u'_', kAlbumArtPrefixLength + 1);
    int headLength = separator > 0 ? separator - 1 : name.Length();
    for (int i = 0; i < Count(); ++i) {
        const XString& own = items[size_t(i)]->Name;
        if (own.Length() >= headLength && EqualFolded(own.Text(), name.Text(), headLength)) {
            RemoveAt(i);
            break;
        }
    }
    return XString();
}

void XIDTags::RemoveAt(int index) {
    if (index < 0 || index >= Count()) return;
    if (items[size_t(index)].get() == lastTouched) lastTouched = nullptr;
    items.erase(items.begin() + index);
}

bool XIDTags::RemoveAll(const XString& name) {
    const XString key = name;  // `name` may be the Name of an item about to go
    bool removed = false;
    for (int i = Count() - 1; i >= 0; --i) {
        if (XTagNameEqual(items[size_t(i)]->Name, key)) {
            RemoveAt(i);
            removed = true;
        }
    }
    return removed;
}

void XIDTags::RemoveBinary() {
    for (int i = Count() - 1; i >= 0; --i) {
        if (!items[size_t(i)]->Data.IsEmpty()) RemoveAt(i);
    }
}

void XIDTags::RemoveLarger(int64_t limit) {
    for (int i = Count() - 1; i >= 0; --i) {
        const XIDTagItem& item = *items[size_t(i)];
        int64_t weight = 2 * (int64_t(item.Name.Length()) + item.Value.Length()) + int64_t(item.Data.Size());
        if (weight > limit) RemoveAt(i);
    }
}

void XIDTags::RemoveInternal(uint32_t keepFlags) {
    for (int i = Count() - 1; i >= 0; --i) {
        const XString& name = items[size_t(i)]->Name;
        if (name.Length() < 1 || name.Text()[0] != u'_') continue;
        bool keep = ((keepFlags & XKeepInternal::Riff) && XTagNameStartsWith(name, u"_riff_", 6)) ||
                    ((keepFlags & XKeepInternal::CdToc) && XTagNameEqual(name, u"_cdtoc")) ||
                    ((keepFlags & XKeepInternal::AlbumArt) &&
                     XTagNameStartsWith(name, kAlbumArtPrefix, kAlbumArtPrefixLength)) ||
                    ((keepFlags & XKeepInternal::Crc) && XTagNameEqual(name, u"_crc"));
        if (!keep) RemoveAt(i);
    }
}

void XIDTags::Merge(const XIDTags& other, bool overwrite, bool ignoreSubdesc) {
    if (&other == this) return;
    for (const auto& source : other.items) {
        XIDTagItem* found = Find(source->Name, ignoreSubdesc);
        if (!found) {
            AddItem(*source);
        } else if (overwrite) {
            Overwrite(*found, *source);
        }
    }
}

void XIDTags::MergeMove(XIDTags&& other, bool overwrite, bool ignoreSubdesc) {
    if (&other == this) return;
    for (auto& source : other.items) {
        XIDTagItem* found = Find(source->Name, ignoreSubdesc);
        if (!found) {
            items.push_back(std::move(source));
            lastTouched = items.back().get();
        } else if (overwrite) {
            found->Name = std::move(source->Name);
            found->Value = std::move(source->Value);
            found->Data = std::move(source->Data);
        }
    }
    other.Clear();
}

void XIDTags::CopyFrom(const XIDTags& other) {
    if (&other == this) return;
    Clear();
    items.reserve(other.items.size());
    for (const auto& source : other.items) AddItem(*source);
}
