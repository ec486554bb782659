#pragma once
// Temporary files and folders named "<prefix>-<process GUID>-<n><suffix>" in the temporary
// folder. The name is reserved by creating the file; the destructor deletes it, and so does a
// crash of the process.
#include "foundation/paths/xpath.h"

class XTempFile : public XPath {
public:
    XTempFile() = default;
    // Reserves a new name at once; prefix null is "TMP".
    explicit XTempFile(const char* prefix, const char* suffix = nullptr);
    ~XTempFile();
    XTempFile(const XTempFile&) = delete;
    XTempFile& operator=(const XTempFile&) = delete;

    // Deletes the held file and reserves a new name. Never gives up.
    void Create(const char* prefix = nullptr, const char* suffix = nullptr);
    // Deletes the held file and takes over another path.
    void Adopt(const XString& path);
    // Gives the path up without deleting it.
    void Release();
};

class XTempFolder : public XPath {
public:
    XTempFolder() = default;
    explicit XTempFolder(const char* prefix);
    // Deletes the folder with all it holds.
    ~XTempFolder();
    XTempFolder(const XTempFolder&) = delete;
    XTempFolder& operator=(const XTempFolder&) = delete;

    void Create(const char* prefix = nullptr);
    void Adopt(const XString& path);
};
