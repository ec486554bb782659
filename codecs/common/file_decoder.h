#pragma once
// The frame the bundled file decoders share: the "Decodes" listing, one file at a time (a second
// Open is refused), the "Decode As" request and Close giving the library's state back. Each
// decoder fills in the hooks.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "tvkit/plugin_base.h"

namespace codecrec {

class FileDecoder : public tvkit::DecoderBase {
public:
    using DecoderBase::DecoderBase;

    int32_t GetProperty(std::u16string_view name, PluginArgs& args) override;
    int32_t SetProperty(std::u16string_view name, PluginArgs& args) override;
    int32_t Open(OpenFileRecord& rec) override;
    int32_t Close(ConversionRecord* conv) override;

protected:
    struct Listing {
        const tvkit::DecodesEntry* table;
        size_t count;
    };
    virtual Listing Decodes() const = 0;
    virtual const char* OpenFunction() const = 0;  // "Mp3::Open", for the log
    virtual bool IsOpen() const = 0;
    // path is set; on failure logs, releases and returns 0.
    virtual int32_t OpenFile(OpenFileRecord& rec, const char* function) = 0;
    virtual void Release() = 0;

    // "Decode As" = "Highest Quality" came before Open: the lossy decoders then give 32-bit
    // float, so that two lossy stages don't round to 16 bits between them.
    bool HighQuality() const { return highQuality; }

    std::u16string path;

private:
    bool highQuality = false;
};

}  // namespace codecrec
