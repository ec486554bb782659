// The Windows backend under Wine: path rules with '\' and drives, share modes and replacing
// moves, the registry as the settings store, and named kernel objects.
#include <gtest/gtest.h>

#include "foundation/files/xfile.h"
#include "foundation/paths/xpath.h"
#include "foundation/paths/xtemp_file.h"
#include "foundation/platform/last_error.h"
#include "foundation/platform/named_objects.h"
#include "foundation/settings/settings_store.h"
#include "foundation/settings/xregistry.h"
#include "foundation/sync/xevent.h"
#include "foundation/sync/xshared_memory.h"

namespace {

std::u16string S(const XString& text) { return std::u16string(text.View()); }

// A fresh folder below the system's temporary folder, removed with everything in it.
struct Folder {
    XTempFolder folder{"tvwin"};
    XPath Path(const char16_t* name) const {
        XPath path(folder);
        path.Append(name);
        return path;
    }
};

constexpr const char16_t* TestKey = u"Software\\Brightmoor\\TonvaleWineTest";

}  // namespace

TEST(Win32Paths, DrivesUncAndTheLongPrefix) {
    XPath a(u"C:\\a");
    a.Append(u"\\\\x");
    EXPECT_EQ(S(a), u"C:\\a\\x");
    XPath empty;
    empty.Append(u"\\\\x");
    EXPECT_EQ(S(empty), u"\\x");
    EXPECT_EQ(S(XPath(u"C:\\a.b\\c").Extension()), u".");
    EXPECT_EQ(XPath(u"C:\\x").RootLength(), 4);
    EXPECT_EQ(XPath(u"\\\\server\\share\\x").RootLength(), 10);
    EXPECT_EQ(XPath(u"\\\\?\\C:\\x").RootLength(), 8);

    XString name(u"C:\\");
    while (name.Length() < 259) name.AppendChar(u'a');
    EXPECT_EQ(S(XPath(name).ToLongPath(260)), S(name));
    name.AppendChar(u'a');
    EXPECT_EQ(S(XPath(name).ToLongPath(260)), u"\\\\?\\" + S(name));
    XString unc(u"\\\\server\\");
    while (unc.Length() < 300) unc.AppendChar(u'u');
    EXPECT_EQ(S(XPath(unc).ToLongPath(260)), S(unc));
}

TEST(Win32Paths, LongPathsAreMadeAndRemoved) {
    Folder f;
    XPath deep(f.folder);
    while (deep.Length() < 300) deep.Append(u"0123456789abcdef");
    ASSERT_TRUE(deep.CreateFolders());
    XPath file = deep;
    file.Append(u"x.bin");
    XFile out;
    ASSERT_TRUE(out.OpenCreate(file));
    ASSERT_TRUE(out.Write("abc", 3, 2, nullptr));
    out.Close();
    bool isFolder = true;
    EXPECT_TRUE(file.Exists(&isFolder));
    EXPECT_FALSE(isFolder);
    EXPECT_TRUE(file.Delete());
    EXPECT_FALSE(file.Exists());
}

TEST(Win32Files, ShareModesAndReplacingMoves) {
    Folder f;
    const XPath held = f.Path(u"held.txt");
    XFile first;
    ASSERT_TRUE(first.Open(held, XAccess::Read | XAccess::Write, XDisposition::CreateAlways, false, false));
    XFile second;
    EXPECT_FALSE(second.OpenRead(held));
    EXPECT_EQ(XGetLastError(), XErr::SharingViolation);
    // A move onto a file that is held without sharing waits, then gives up with 1460.
    const XPath source = f.Path(u"new.txt");
    XFile make;
    ASSERT_TRUE(make.OpenCreate(source));
    make.Close();
    EXPECT_FALSE(XMoveWithRetry(source, held, XMoveFlags::ReplaceExisting, 30));
    EXPECT_EQ(XGetLastError(), XErr::Timeout);
    first.Close();
    EXPECT_TRUE(XMoveWithRetry(source, held, XMoveFlags::ReplaceExisting, 30));
    EXPECT_FALSE(source.Exists());

    XFile again;
    EXPECT_FALSE(again.Open(held, XAccess::Write, XDisposition::CreateNew));
    EXPECT_EQ(XGetLastError(), XErr::AlreadyExists);
}

TEST(Win32Registry, ReadsMakeTheKeyAndTypesMustMatch) {
    RegDeleteTree(HKEY_CURRENT_USER, u"Software\\Brightmoor", u"TonvaleWineTest");
    EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, TestKey));
    EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, TestKey));  // asking leaves no trace
    bool error = false;
    EXPECT_EQ(RegGetInt(u"x", HKEY_CURRENT_USER, TestKey, &error), 0);
    EXPECT_TRUE(error);
    EXPECT_TRUE(RegKeyExists(HKEY_CURRENT_USER, TestKey));

    ASSERT_TRUE(RegSetString(u"text", u"s", HKEY_CURRENT_USER, TestKey));
    error = false;
    EXPECT_EQ(RegGetInt(u"s", HKEY_CURRENT_USER, TestKey, &error), 0);
    EXPECT_TRUE(error);
    ASSERT_TRUE(RegSetString(u"%PATH%", u"e", HKEY_CURRENT_USER, TestKey, true));
    EXPECT_EQ(S(RegGetString(u"e", HKEY_CURRENT_USER, TestKey)), u"%PATH%");
    ASSERT_TRUE(RegSetInt64(-5, u"q", HKEY_CURRENT_USER, TestKey));
    EXPECT_EQ(RegGetInt64(u"q", HKEY_CURRENT_USER, TestKey), -5);
    // A string stored without its NUL still reads as a proper string.
    ASSERT_TRUE(XSettingsStore::SetValue(HKEY_CURRENT_USER, TestKey, u"raw", 1, u"abc", 6));
    EXPECT_EQ(S(RegGetString(u"raw", HKEY_CURRENT_USER, TestKey)), u"abc");

    XStringList empty;
    ASSERT_TRUE(RegSetList(empty, u"list", HKEY_CURRENT_USER, TestKey));
    EXPECT_EQ(RegValueSize(u"list", HKEY_CURRENT_USER, TestKey), 4u);
    XStringList names;
    ASSERT_TRUE(RegEnumValues(HKEY_CURRENT_USER, TestKey, names));
    EXPECT_EQ(names.Count(), 5);
    EXPECT_TRUE(RegDeleteTree(HKEY_CURRENT_USER, u"Software\\Brightmoor", u"TonvaleWineTest"));
    EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, TestKey));
}

TEST(Win32NamedObjects, NamedEventsAreKernelObjects) {
    XEvent first(u"TvWineTestEvent");
    EXPECT_FALSE(first.Existed());
    XEvent second(u"TvWineTestEvent");
    EXPECT_TRUE(second.Existed());
    EXPECT_FALSE(second.IsSet());
    // A handle of the layer's own on the name sees the same event.
    bool existed = false;
    XObjectHandle raw = XCreateEventObject(u"TvWineTestEvent", &existed);
    ASSERT_NE(raw, nullptr);
    EXPECT_TRUE(existed);
    XSetEventObject(raw);
    XCloseObject(raw);
    EXPECT_TRUE(second.Wait(5000));
    EXPECT_TRUE(first.IsSet());
    first.Close();
    second.Close();
    XEvent third(u"TvWineTestEvent");
    EXPECT_FALSE(third.Existed());  // the last handle took the name with it
}

TEST(Win32NamedObjects, SharedBlockKeepsItsCreatorsSize) {
    XSharedMemory a, b;
    bool existed = true;
    ASSERT_TRUE(a.Open(u"TvWineTestBlock", 8, &existed));
    EXPECT_FALSE(existed);
    uint64_t v = 0x1122334455667788ull;
    ASSERT_TRUE(a.Write(&v));
    ASSERT_TRUE(b.Open(u"TvWineTestBlock", 16, &existed));
    EXPECT_TRUE(existed);
    EXPECT_EQ(b.size, 8u);
    uint64_t r = 0;
    ASSERT_TRUE(b.Read(&r));
    EXPECT_EQ(r, v);
    // The block holds the number at its start, as a front end reads it.
    bool same = false;
    XObjectHandle raw = XCreateSectionObject(u"NSharedData_TvWineTestBlock", 8, &same);
    ASSERT_NE(raw, nullptr);
    EXPECT_TRUE(same);
    EXPECT_EQ(*static_cast<const uint64_t*>(XSectionView(raw)), v);
    XCloseObject(raw);
}
