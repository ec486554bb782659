#include "tags/tag_settings.h"

#include "foundation/settings/xregistry.h"
#include "foundation/text/xstring.h"

void ApplyFirstRunDefaults() {
    XString base = XDefaultRegistryKey();
    XString tagging = base + u"\\Tagging";
    // The one value stands for all four: a user's later deletion of the others is respected.
    if (RegValueExists(u"Mp3TagDefault", HKEY_CURRENT_USER, tagging.Text())) return;
    XString profile = base + u"\\DiscGrabber\\Profiles\\(default)";
    RegSetInt(1, u"AlbumArtFolderJPG", HKEY_CURRENT_USER, profile.Text());
    RegSetInt(3, u"Mp3TagDefault", HKEY_CURRENT_USER, tagging.Text());
    RegSetInt(1, u"Mp3ID3v2UnicodeEncode", HKEY_CURRENT_USER, tagging.Text());
    RegSetInt(1, u"vMXProfFreqConversion", HKEY_CURRENT_USER, base.Text());
}
