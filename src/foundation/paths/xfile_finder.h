#pragma once
// XFileFinder: the directory iterator. The string is the full path of the current entry.
#include "foundation/paths/xpath.h"
#include "foundation/platform/file_system.h"

class XFileFinder : public XString {
public:
    // A search text: a folder plus a last component that may hold '*' and '?'. Trailing
    // separators are dropped.
    explicit XFileFinder(const XString& path);
    // A pattern in a folder.
    XFileFinder(const char16_t* pattern, const XString& folder);
    ~XFileFinder();
    XFileFinder(const XFileFinder&) = delete;
    XFileFinder& operator=(const XFileFinder&) = delete;

    // The next entry ("." and ".." skipped); false at the end.
    bool Next();
    void FoldersOnly() { foldersOnly = true; }

    const XFindData& Data() const { return findData; }
    bool IsFolder() const { return (findData.attributes & XAttr::Directory) != 0; }
    const XString& Name() const { return findData.name; }

private:
    XFindData findData;
    XFindState* handle = nullptr;
    XPath folder;
    bool foldersOnly = false;
    bool started = false;
};
