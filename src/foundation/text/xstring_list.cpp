// XStringList: owned strings on an XPointerArray, and its sorting.
#include "foundation/text/xstring_list.h"

#include <utility>

namespace {
uint64_t AsValue(XString* s) { return reinterpret_cast<uint64_t>(s); }
}  // namespace

XStringList::XStringList(const XStringList& other) { AddList(other); }

XStringList::XStringList(XStringList&& other) noexcept : items(std::move(other.items)) {}

XStringList& XStringList::operator=(const XStringList& other) {
    if (this != &other) {
        Clear();
        AddList(other);
    }
    return *this;
}

XStringList& XStringList::operator=(XStringList&& other) noexcept {
    if (this != &other) {
        Clear();
        items = std::move(other.items);
    }
    return *this;
}

XStringList::~XStringList() { Clear(); }

XString* XStringList::Add(const char16_t* text, uint64_t tag) {
    auto* s = new XString(text);
    s->tag = tag;
    items.Add(AsValue(s));
    return s;
}

XString* XStringList::Add(const XString& text, uint64_t tag) {
    auto* s = new XString(text);
    s->tag = tag;
    items.Add(AsValue(s));
    return s;
}

XString* XStringList::AddMove(XString&& text) {
    auto* s = new XString(std::move(text));
    items.Add(AsValue(s));
    return s;
}

XString* XStringList::AddRange(const char16_t* text, int length, uint64_t tag) {
    auto* s = new XString();
    s->AppendFast(text, length);
    s->tag = tag;
    items.Add(AsValue(s));
    return s;
}

XString* XStringList::Insert(int64_t index, const char16_t* text, uint64_t tag) {
    auto* s = new XString(text);
    s->tag = tag;
    items.Insert(index, AsValue(s));
    return s;
}

void XStringList::AddList(const XStringList& other, bool allowDuplicates, bool ignoreCase) {
    if (&other == this) {
        if (!allowDuplicates) return;  // every item is already there
        XStringList copy(other);
        AddList(copy);
        return;
    }
    items.Reserve(items.Count() + other.Count());
    for (int64_t i = 0; i < other.Count(); ++i) {
        const XString* s = other.Item(i);
        if (!allowDuplicates && Find(s->Text(), ignoreCase) >= 0) continue;
        Add(*s, s->tag);
    }
}

int64_t XStringList::Find(const char16_t* text, bool ignoreCase) const {
    for (int64_t i = 0; i < Count(); ++i)
        if (XString::Compare(Item(i)->Text(), text, 0, ignoreCase) == 0) return i;
    return -1;
}

void XStringList::RemoveAt(int64_t index) {
    if (index < 0 || index >= Count()) return;
    delete Item(index);
    items.RemoveAt(index);
}

int64_t XStringList::RemoveText(const char16_t* text, bool ignoreCase) {
    int64_t removed = 0;
    for (int64_t i = Count() - 1; i >= 0; --i)
        if (XString::Compare(Item(i)->Text(), text, 0, ignoreCase) == 0) {
            RemoveAt(i);
            ++removed;
        }
    return removed;
}

void XStringList::Clear() {
    for (int64_t i = 0; i < Count(); ++i) delete Item(i);
    items.Clear();
}

XString XStringList::Join(const char16_t* separator) const {
    XString result;
    if (separator == nullptr) return result;
    for (int64_t i = 0; i < Count(); ++i) {
        if (i > 0) result.AppendFast(separator);
        result.AppendFast(*Item(i));
    }
    return result;
}

bool XStringList::Equal(const XStringList& other) const {
    if (Count() != other.Count()) return false;
    for (int64_t i = 0; i < Count(); ++i) {
        const XString* a = Item(i);
        const XString* b = other.Item(i);
        if (a->Length() != b->Length() || XString::Compare(a->Text(), b->Text()) != 0) return false;
    }
    return true;
}

void XStringList::Swap(int64_t a, int64_t b) {
    uint64_t t = items[a];
    items[a] = items[b];
    items[b] = t;
}

namespace {
// Hoare-style quicksort with the middle item as pivot. Recurses into the smaller part and
// loops over the larger, so the stack stays shallow on any input.
template <class Less>
void QuickSort(uint64_t* v, int64_t lo, int64_t hi, Less&& less) {
    while (lo < hi) {
        const XString* pivot = reinterpret_cast<const XString*>(v[lo + (hi - lo) / 2]);
        int64_t i = lo, j = hi;
        while (i <= j) {
            while (less(reinterpret_cast<const XString*>(v[i]), pivot)) ++i;
            while (less(pivot, reinterpret_cast<const XString*>(v[j]))) --j;
            if (i <= j) {
                std::swap(v[i], v[j]);
                ++i;
                --j;
            }
        }
        if (j - lo < hi - i) {
            QuickSort(v, lo, j, less);
            lo = i;
        } else {
            QuickSort(v, i, hi, less);
            hi = j;
        }
    }
}
}  // namespace

void XStringList::Sort(bool ignoreCase) {
    if (Count() < 2) return;
    QuickSort(items.Data(), 0, Count() - 1, [ignoreCase](const XString* a, const XString* b) {
        return XString::Compare(a->Text(), b->Text(), 0, ignoreCase) < 0;
    });
}

void XStringList::SortNatural() {
    if (Count() < 2) return;
    QuickSort(items.Data(), 0, Count() - 1,
              [](const XString* a, const XString* b) { return XNaturalCompare(a->Text(), b->Text()) < 0; });
}
