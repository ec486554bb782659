// Natural sort order and the folding of accented Latin letters to their base letter.
#include <cstring>

#include "foundation/text/xstring.h"

namespace {

struct FoldGroup {
    char16_t base;
    const char16_t* from;
};

// 173 letters in all; what is not here folds to '_' (Æ, Œ, ß, Þ and ÿ among them).
constexpr FoldGroup FoldGroups[] = {
    {u'A', u"ÀÁÂÃÄÅĀĂĄ"},  {u'C', u"ÇĆĈĊČ"},     {u'D', u"ĎĐ"},         {u'E', u"ÈÉÊËĒĔĖĘĚ"},
    {u'G', u"ĜĞĠĢ"},       {u'I', u"ÌÍÎÏĨĪĬĮİ"}, {u'J', u"Ĵ"},          {u'K', u"Ķ"},
    {u'L', u"ĹĻĽĿŁ"},      {u'N', u"ÑŃŅŇŊ"},     {u'O', u"ÒÓÔÕÖØŌŎŐ"},  {u'R', u"ŔŖŘ"},
    {u'S', u"ŚŜŞŠ"},       {u'T', u"ŢŤŦ"},       {u'U', u"ÙÚÛÜŨŪŬŮŰŲ"}, {u'W', u"Ŵ"},
    {u'Y', u"ÝŶŸ"},        {u'Z', u"ŹŻŽ"},       {u'a', u"àáâãäåāăą"},  {u'c', u"çćĉċč"},
    {u'd', u"ďđ"},         {u'e', u"èéêëēĕėęě"}, {u'g', u"ĝğġģ"},       {u'i', u"ìíîïĩīĭįı"},
    {u'j', u"ĵ"},          {u'k', u"ķ"},         {u'l', u"ĺļľŀł"},      {u'n', u"ñńņňŉŋ"},
    {u'o', u"ðòóôõöøōŏő"}, {u'r', u"ŕŗř"},  // ð is an o on purpose
    {u's', u"śŝşš"},       {u't', u"ţťŧ"},       {u'u', u"ùúûüũūŭůűų"}, {u'w', u"ŵ"},
    {u'y', u"ýŷ"},         {u'z', u"źżž"},
};

constexpr char16_t TableFirst = 0x80;
constexpr char16_t TableEnd = 0x180;  // every folded letter lies below this

struct FoldTable {
    char16_t base[TableEnd - TableFirst];
    int pairs;
    constexpr FoldTable() : base(), pairs(0) {
        for (auto& b : base) b = u'_';
        for (const auto& g : FoldGroups)
            for (const char16_t* f = g.from; *f != 0; ++f) {
                base[*f - TableFirst] = g.base;
                ++pairs;
            }
    }
};

constexpr FoldTable Fold;
static_assert(Fold.pairs == 173, "the folding table has 173 pairs");

inline bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
inline char16_t LowerAscii(char16_t c) { return c >= u'A' && c <= u'Z' ? c + 32 : c; }

}  // namespace

char16_t XFoldChar(char16_t character) {
    if (character < TableFirst) return character;
    if (character >= TableEnd) return u'_';
    return Fold.base[character - TableFirst];
}

int XNaturalCompare(const char16_t* a, const char16_t* b) {
    if (a == nullptr) a = u"";
    if (b == nullptr) b = u"";
    for (;;) {
        char16_t ca = *a, cb = *b;
        if (ca == cb && !IsDigit(ca)) {  // the common case: nothing to fold
            if (ca == 0) return 0;
            ++a;
            ++b;
            continue;
        }
        if (IsDigit(ca) && IsDigit(cb)) {
            size_t la = 0, lb = 0;
            while (IsDigit(a[la])) ++la;
            while (IsDigit(b[lb])) ++lb;
            size_t w = la > lb ? la : lb;
            // Right-aligned over w places; a missing place reads as '0'.
            for (size_t i = 0; i < w; ++i) {
                char16_t da = i + la >= w ? a[i + la - w] : u'0';
                char16_t db = i + lb >= w ? b[i + lb - w] : u'0';
                if (da != db) return da < db ? -1 : 1;
            }
            a += la;
            b += lb;
            continue;
        }
        char16_t fa = LowerAscii(XFoldChar(ca)), fb = LowerAscii(XFoldChar(cb));
        if (fa != fb) return fa < fb ? -1 : 1;
        if (ca != cb) return ca < cb ? -1 : 1;
        if (ca == 0) return 0;
        ++a;
        ++b;
    }
}
