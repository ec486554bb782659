#pragma once
// Special folders by their Windows identifiers, mapped to the POSIX places (XDG and friends).
#include "foundation/text/xstring.h"

namespace XFolderId {
constexpr int Documents = 5;
constexpr int MyMusic = 13;
constexpr int MyVideo = 14;
constexpr int AppData = 26;
constexpr int MyPictures = 39;
constexpr int CommonFiles = 43;
constexpr int CommonDocuments = 46;
constexpr int CommonMusic = 53;
constexpr int CommonPictures = 54;
constexpr int CommonVideo = 55;
constexpr int ProgramFiles = 0x5000;
constexpr int WindowsDir = 0x5001;
constexpr int SystemDir = 0x5002;
constexpr int Temporary = 0x5003;
constexpr int ProgramFiles64 = 0x5004;
}  // namespace XFolderId

// A folder with a trailing separator. Starts from fallback ("C:\Error" when null) and keeps
// it when the system has nothing better; never fails.
XString XSpecialFolder(int id, const char16_t* fallback = nullptr);
// $TMPDIR, else /tmp, with a trailing separator.
XString XTempFolderPath();
