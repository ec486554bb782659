#pragma once
// XStringList: owned XString items on an XPointerArray, each with its own tag.
// XHashedStringList adds a hash per item for quick look-up. The free functions below are the
// text forms of a list: splitting, quoting, and the NUL-separated block.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/text/xpointer_array.h"
#include "foundation/text/xstring.h"

class XStringList {
public:
    XStringList() = default;
    XStringList(const XStringList& other);
    XStringList(XStringList&& other) noexcept;
    XStringList& operator=(const XStringList& other);
    XStringList& operator=(XStringList&& other) noexcept;
    ~XStringList();

    int64_t Count() const { return items.Count(); }
    bool IsEmpty() const { return items.Count() == 0; }
    XString& operator[](int64_t index) { return *Item(index); }
    const XString& operator[](int64_t index) const { return *Item(index); }
    XString* Item(int64_t index) { return reinterpret_cast<XString*>(items.Get(index)); }
    const XString* Item(int64_t index) const { return reinterpret_cast<const XString*>(items.Get(index)); }

    XString* Add(const char16_t* text, uint64_t tag = 0);
    XString* Add(const XString& text, uint64_t tag = 0);
    XString* AddMove(XString&& text);
    XString* AddRange(const char16_t* text, int length, uint64_t tag = 0);
    // index -1 or beyond Count appends.
    XString* Insert(int64_t index, const char16_t* text, uint64_t tag = 0);
    // Copies items and tags; with allowDuplicates clear, skips texts already present.
    void AddList(const XStringList& other, bool allowDuplicates = true, bool ignoreCase = false);
    // Index of the first match, or -1.
    int64_t Find(const char16_t* text, bool ignoreCase = false) const;
    void RemoveAt(int64_t index);
    // Removes all matches; returns how many went.
    int64_t RemoveText(const char16_t* text, bool ignoreCase = false);
    void Clear();
    // A null separator gives empty text.
    XString Join(const char16_t* separator) const;
    bool Equal(const XStringList& other) const;
    // Quicksort in place, not stable.
    void Sort(bool ignoreCase = false);
    void SortNatural();
    void Swap(int64_t a, int64_t b);

    // Iteration over the items.
    class Iterator {
    public:
        explicit Iterator(const uint64_t* p) : at(p) {}
        XString& operator*() const { return *reinterpret_cast<XString*>(*at); }
        XString* operator->() const { return reinterpret_cast<XString*>(*at); }
        Iterator& operator++() {
            ++at;
            return *this;
        }
        bool operator==(const Iterator& o) const { return at == o.at; }
        bool operator!=(const Iterator& o) const { return at != o.at; }

    private:
        const uint64_t* at;
    };
    Iterator begin() const { return Iterator(items.Data()); }
    Iterator end() const { return Iterator(items.Data() + items.Count()); }

protected:
    XPointerArray items;  // XString* values
};

class XHashedStringList : public XStringList {
public:
    // Adds the item and its hash.
    XString* Add(const char16_t* text, uint64_t tag = 0);
    // Fills the hashes of all items.
    void Rehash();
    // False at once when the hashes are not in step with the items; compares text only
    // where the hash matches.
    bool Find(const char16_t* text, bool ignoreCase, int64_t* index) const;
    void RemoveAt(int64_t index);
    void Clear();
    int64_t HashCount() const { return hashes.Count(); }

private:
    XPointerArray hashes;
};

// Reflected CRC-32 over the UTF-16 bytes of the upper-cased text, NUL excluded.
uint32_t XCrc32Upper(const char16_t* text);

// Each item through XQuoteArgument, joined by one space.
XString XJoinQuoted(const XStringList& list);
// Splits at every separator; "a,b," gives "a", "b", "".
void XSplitToList(XStringList& list, const char16_t* text, const char16_t* separator);
// Splits at LF, dropping a CR before it; a last piece without LF only when not empty.
void XSplitLines(XStringList& list, const char16_t* text);
// Splits at CR, skipping the LFs behind each CR.
void XSplitLinesCR(XStringList& list, const char16_t* text);
// Blank-separated arguments with '"' toggling quote mode; "" gives an empty item.
void XSplitArguments(XStringList& list, const char16_t* text);
// Writes the list as NUL-separated text with a closing NUL; an empty item as "[Empty]".
// Mode 0 or 1: UTF-16; higher: bytes in the system code page. Returns the size in bytes.
size_t XPackMultiString(const XStringList& list, std::vector<uint8_t>& buffer, int mode);
// Reads such a block of `size` bytes back; see XPackMultiString for the modes. A separator
// other than 0 is read as a NUL; skipEmpty walks over NULs to the end of the block.
void XUnpackMultiString(XStringList& list, const void* data, size_t size, int mode, char16_t separator = 0,
                        bool skipEmpty = false);
void XUnpackMultiString(XHashedStringList& list, const void* data, size_t size, int mode, char16_t separator = 0,
                        bool skipEmpty = false);
