#include "file_decoder.h"

#include "tvkit/text.h"

namespace codecrec {

int32_t FileDecoder::GetProperty(std::u16string_view name, PluginArgs& args) {
    if (name == u"Decodes") {
        const Listing listing = Decodes();
        return tvkit::AnswerListing(listing.table, listing.count, args);
    }
    return DecoderBase::GetProperty(name, args);
}

int32_t FileDecoder::SetProperty(std::u16string_view name, PluginArgs& args) {
    if (name == u"Decode As") {
        highQuality = tvkit::View16(args.Text) == u"Highest Quality";
        return 1;
    }
    return DecoderBase::SetProperty(name, args);
}

int32_t FileDecoder::Open(OpenFileRecord& rec) {
    const char* const function = OpenFunction();
    if (IsOpen()) {
        Log().Error(u"Error: The decoder is already open.", function);
        return 0;
    }
    path = std::u16string(tvkit::View16(rec.Path));
    return OpenFile(rec, function);
}

int32_t FileDecoder::Close(ConversionRecord*) {
    Release();
    return 1;
}

}  // namespace codecrec
