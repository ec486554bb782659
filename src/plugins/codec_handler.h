#pragma once
// clTvCodecHandler: finds plug-in libraries beside the program and loads them. It keeps no
// state; the decoder for a file is chosen by extension, remembered per extension in the
// registry cache so that a run loads one library, not all of them. A user's own plug-ins in
// $XDG_DATA_HOME/tonvale/<kind>/ are found after the program's; a file name in both folders
// is the program's.
#include <vector>

#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"
#include "plugins/tv_decoder.h"
#include "plugins/tv_dsp.h"
#include "plugins/tv_encoder.h"

class clTvCodecHandler {
public:
    // The cache key; "64" is appended to it, and to any base key a caller passes instead.
    static constexpr const char16_t* DecoderCacheKey = u"Software\\Brightmoor\\Tonvale\\DecoderCache";
    // The suffix of plug-in files on this platform (Windows matches names ignoring case, so
    // ".dll" finds the encoders' and DSPs' ".DLL" too).
#ifdef _WIN32
    static constexpr const char16_t* LibrarySuffix = u".dll";
    static constexpr const char16_t* LibraryPattern = u"*.dll";
    // The suffix with which LoadEncoder and LoadDSP name the file they load.
    static constexpr const char16_t* LoadSuffix = u".DLL";
#else
    static constexpr const char16_t* LibrarySuffix = u".so";
    static constexpr const char16_t* LibraryPattern = u"*.so";
    static constexpr const char16_t* LoadSuffix = u".so";
#endif

    // Loads the decoder for a file (by its extension) or a stream name, and makes an instance.
    // module names the program whose folder holds the plug-ins (null: this program).
    static bool LoadDecoderForFile(const XString& name, clTvDecoder& decoder, const PluginLogHandles* logs,
                                   const void* module, bool isStream, const char16_t* baseKey = nullptr);
    // Loads one library, makes an instance and asks whether it lists the extension; on false
    // the wrapper is empty.
    static bool TryDecoderFile(const XString& path, const XString& extension, clTvDecoder& decoder,
                               const PluginLogHandles* logs, bool isStream);
    static bool LoadEncoder(const XString& name, clTvEncoder& encoder, const PluginLogHandles* logs,
                            const void* module);
    // The driver names its DSPs with LibrarySuffix; on Windows only the case of the text differs.
    static bool LoadDSP(const XString& name, clTvDSP& dsp, const PluginLogHandles* logs, const void* module,
                        const char16_t* suffix = LoadSuffix);

    // Every listed decoder entry; each output is optional. Filter lines hold the display text
    // and the pattern with a CR between them.
    static void ListDecoders(bool addAllFiles, XStringList* extensions, XStringList* descriptions,
                             XStringList* filterLines, const void* module);
    // Encoder names, "[multi encoder]" first and other bracketed names last; leaveOut is a
    // ":"-separated list of names to skip.
    static void ListEncoders(XStringList& output, const char16_t* leaveOut, const void* module);
    // The extension an encoder writes; empty when it couldn't be found.
    static XString GetEncoderExtension(const XString& name, const void* module);
    static bool IsLosslessCodec(const char16_t* name);

    // The extension of a path with its dot: from the last '.' behind the last separator,
    // else empty.
    static XString ExtensionOf(const XString& name);
    // The program's folder + kind + separator, e.g. ".../decoder/".
    static XString PluginFolder(const void* module, const char16_t* kind);
    // The user's folder of a kind, "$XDG_DATA_HOME/tonvale/<kind>/"; empty without a home.
    static XString UserPluginFolder(const char16_t* kind);

    // One library file of a kind's folders.
    struct PluginFile {
        XString path;
        XString name;  // the file name
        bool user;     // found in the user's folder
    };
    // The libraries of a kind: the program's folder in the order the file system gives them,
    // then the user's, leaving out folders and the user's files whose name the program has.
    static std::vector<PluginFile> PluginFiles(const void* module, const char16_t* kind);
    // The library of a kind by file name: the program's when it is there, else the user's when
    // it is there, else the program's path (whose load then fails).
    static XString FindPluginFile(const void* module, const char16_t* kind, const XString& fileName);
};
