// encoder/flac.so: integer PCM to native FLAC through libFLAC; float PCM becomes 24-bit
// (exactly when it was made from 24-bit audio, else with TPDF dither, and one line says so).
// Options as the flac tool takes them: -0 to -8 (default -5), --fast, --best, -V / --verify.
// The MD5 of the audio in STREAMINFO is worked out on a second thread, or by libFLAC when that
// thread can't be had. The host writes the tags afterwards through decoder/flac.so; the
// padding left here, sized from the tags the host will write, lets that happen in place.
#include <FLAC/metadata.h>
#include <FLAC/stream_encoder.h>

#include <string>
#include <string_view>
#include <vector>

#include "flac_md5.h"
#include "flac_output.h"
#include "flac_pcm.h"
#include "part_file.h"
#include "tvkit/os_file.h"
#include "tvkit/plugin_base.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"

// Part of libFLAC's exported interface, though its public headers leave it out: the encoder's
// own MD5, which the second thread replaces.
extern "C" FLAC__bool FLAC__stream_encoder_set_do_md5(FLAC__StreamEncoder* encoder, FLAC__bool value);

namespace {

constexpr unsigned kDefaultLevel = 5;
constexpr unsigned kMaxLevel = 8;
constexpr uint64_t kMaxPaddingBytes = (uint64_t{1} << 24) - 1;  // the 24-bit block length
constexpr unsigned kMaxChannels = 8;
constexpr unsigned kMinDepth = 4;
constexpr unsigned kMaxDepth = 32;
constexpr unsigned kMaxRate = 1048575;  // the 20-bit rate field of STREAMINFO
constexpr size_t kChunkFrames = 4096;   // frames converted per libFLAC call
constexpr unsigned kSeekSpacingSeconds = 10;
constexpr unsigned kMd5ThreadSeconds = 20;
// "fLaC", the first block's header, then STREAMINFO with the MD5 behind its first 18 bytes.
constexpr uint64_t kMd5Offset = 4 + 4 + 18;

struct Settings {
    unsigned level = kDefaultLevel;
    bool verify = false;
    std::u16string ignored;  // words that mean nothing here, for one information line
};

Settings ParseSettings(std::u16string_view line) {
    Settings s;
    size_t at = 0;
    while (at < line.size()) {
        while (at < line.size() && line[at] == u' ') ++at;
        size_t end = at;
        while (end < line.size() && line[end] != u' ') ++end;
        const std::u16string_view word = line.substr(at, end - at);
        at = end;
        if (word.empty()) continue;
        if (word.size() == 2 && word[0] == u'-' && word[1] >= u'0' && word[1] <= u'0' + kMaxLevel) {
            s.level = static_cast<unsigned>(word[1] - u'0');
        } else if (word == u"--fast") {
            s.level = 0;
        } else if (word == u"--best") {
            s.level = kMaxLevel;
        } else if (word == u"-V" || word == u"--verify") {
            s.verify = true;
        } else if (word == u"--no-verify") {
            s.verify = false;
        } else {
            if (!s.ignored.empty()) s.ignored += u' ';
            s.ignored += word;
        }
    }
    return s;
}

bool IsFloat(const TvWaveFormatExtensible& f) {
    return f.Format.wFormatTag == TV_WAVE_FORMAT_IEEE_FLOAT ||
           (f.Format.wFormatTag == TV_WAVE_FORMAT_EXTENSIBLE && f.Format.cbSize >= TV_WAVE_EXTENSIBLE_EXTRA &&
            f.SubFormat.Data1 == TV_WAVE_FORMAT_IEEE_FLOAT);
}

// Float of 32 or 64 bits, stored as 24-bit integers.
bool FloatLayout(const TvWaveFormatExtensible& f, unsigned& container, unsigned& depth) {
    container = f.Format.wBitsPerSample;
    depth = 24;
    return IsFloat(f) && (container == 32 || container == 64) &&
           f.Format.nBlockAlign == container / 8 * f.Format.nChannels;
}

// Integer PCM layout of a format record: false for anything else (float, compressed).
bool PcmLayout(const TvWaveFormatExtensible& f, unsigned& container, unsigned& depth) {
    uint16_t tag = f.Format.wFormatTag;
    depth = f.Format.wBitsPerSample;
    if (tag == TV_WAVE_FORMAT_EXTENSIBLE && f.Format.cbSize >= TV_WAVE_EXTENSIBLE_EXTRA) {
        tag = static_cast<uint16_t>(f.SubFormat.Data1);
        if (f.wValidBitsPerSample) depth = f.wValidBitsPerSample;
    }
    container = f.Format.wBitsPerSample;
    return tag == TV_WAVE_FORMAT_PCM && (container == 8 || container == 16 || container == 24 || container == 32) &&
           depth <= container && f.Format.nBlockAlign == container / 8 * f.Format.nChannels;
}

bool SameShape(const TvWaveFormatExtensible& a, const TvWaveFormatExtensible& b) {
    return a.Format.wFormatTag == b.Format.wFormatTag && a.Format.nChannels == b.Format.nChannels &&
           a.Format.nSamplesPerSec == b.Format.nSamplesPerSec && a.Format.wBitsPerSample == b.Format.wBitsPerSample &&
           a.wValidBitsPerSample == b.wValidBitsPerSample;
}

class FlacEncoder final : public tvkit::EncoderBase {
public:
    using EncoderBase::EncoderBase;
    ~FlacEncoder() override {
        Release();
        FreeMetadata();
    }

    int32_t GetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"Extension") {
            args.Text = u".flac";
            return 1;
        }
        if (name == u"IsLossless") return 1;
        return EncoderBase::GetProperty(name, args);
    }

    int32_t BeginConversion(ConversionRecord& conv) override {
        static const char* const kFunction = "Flac::BeginConversion";
        if (encoder || !conv.Format) {
            Log().Error(u"Error: No conversion to begin.", kFunction);
            return 0;
        }
        settings = ParseSettings(tvkit::View16(conv.CommandLine));
        if (!settings.ignored.empty())
            Log().Info(u"Options not known to the FLAC encoder were ignored: " + settings.ignored, kFunction);
        path = std::u16string(tvkit::View16(conv.OutputFile));
        if (!part.Create(path)) {
            Log().Error(u"Error: Unable to create file '" + path + u"': " + tvkit::os::LastErrorText(), kFunction);
            return 0;
        }
        tagRoom = tvtags::TagRoom(conv.OutputTags, conv.OutputTagsSize, tvtags::FileKind::Flac);
        const TvFormatAndLength& in = *conv.Format;
        const uint64_t frames = in.Format.Format.nBlockAlign ? in.LengthBytes / in.Format.Format.nBlockAlign : 0;
        if (Start(in.Format, frames, kFunction)) return 1;
        part.Discard();
        return 0;
    }

    int32_t EncodeBlock(AudioBlockRecord& block) override {
        static const char* const kFunction = "Flac::EncodeBlock";
        if (!encoder) return 0;
        if (!block.Data || block.Size == 0) return 1;
        if (!SameShape(block.Format, format)) {
            if (written) {
                Log().Error(u"Error: The audio format changed in the middle of '" + path + u"'.", kFunction);
                return 0;
            }
            // A DSP changed the format before any audio came: start the file anew.
            Release();
            if (!Start(block.Format, 0, kFunction)) return 0;
        }
        const size_t frameBytes = format.Format.nBlockAlign;
        const auto* p = static_cast<const uint8_t*>(block.Data);
        size_t frames = block.Size / frameBytes;
        while (frames) {
            const size_t n = frames < kChunkFrames ? frames : kChunkFrames;
            if (isFloat)
                toInt.Convert(p, n * channels, container, samples.data());
            else
                flacpcm::Unpack(p, n * channels, container, depth, samples.data());
            if (!FLAC__stream_encoder_process_interleaved(encoder, samples.data(), static_cast<unsigned>(n))) {
                Log().Error(u"Error: FLAC encoding of '" + path + u"' failed: " + StateText(), kFunction);
                return 0;
            }
            md5.Add(samples.data(), n * channels);
            p += n * frameBytes;
            frames -= n;
            written += n;
        }
        return 1;
    }

    int32_t EndConversion(ConversionRecord& conv, uint32_t& writeTags) override {
        static const char* const kFunction = "Flac::EndConversion";
        writeTags = 0;
        if (!encoder) {
            part.Discard();
            return 0;
        }
        if (conv.Failed) {
            // A failed or stopped run keeps nothing of its output.
            Release();
            part.Discard();
            return 1;
        }
        bool ok = FLAC__stream_encoder_finish(encoder);
        if (!ok) {
            Log().Error(u"Error: Unable to finish FLAC file '" + path + u"': " + StateText(), kFunction);
        } else {
            // The MD5 of the second thread goes where libFLAC left zeros.
            uint8_t digest[16];
            const bool md5Written =
                !md5.Finish(digest) || (output.Seek(kMd5Offset) && output.Write(digest, sizeof digest));
            if (!md5Written || !output.Close()) {
                Log().Error(u"Error: Unable to write FLAC file '" + path + u"': " + tvkit::os::LastErrorText(),
                            kFunction);
                ok = false;
            }
        }
        if (ok && (toInt.Rounded() || toInt.Clipped())) {
            std::u16string line = u"Float audio was rounded to 24 bits with TPDF dither for FLAC";
            if (toInt.Clipped())
                line += u"; " + tvkit::Number16(static_cast<unsigned long long>(toInt.Clipped())) +
                        u" samples beyond full scale were clipped";
            Log().Info(line + u".", kFunction);
        }
        Release();
        if (ok && !part.Commit()) {
            Log().Error(
                u"Error: Unable to give the finished file its name '" + path + u"': " + tvkit::os::LastErrorText(),
                kFunction);
            ok = false;
        }
        if (!ok) part.Discard();
        writeTags = ok ? 1 : 0;
        return ok ? 1 : 0;
    }

private:
    bool Start(const TvWaveFormatExtensible& f, uint64_t frames, const char* function) {
        isFloat = IsFloat(f);
        const bool layoutOk = isFloat ? FloatLayout(f, container, depth) : PcmLayout(f, container, depth);
        if (!layoutOk || f.Format.nChannels < 1 || f.Format.nChannels > kMaxChannels || depth < kMinDepth ||
            depth > kMaxDepth || f.Format.nSamplesPerSec < 1 || f.Format.nSamplesPerSec > kMaxRate) {
            Log().Error(
                u"Error: FLAC holds PCM of 4 to 32 bits or float, 1 to 8 channels, 1 to 1048575 Hz; this audio is " +
                    Describe(f) + u".",
                function);
            return false;
        }
        format = f;
        channels = f.Format.nChannels;
        encoder = FLAC__stream_encoder_new();
        if (!encoder) {
            Log().Error(u"Error: Out of memory.", function);
            return false;
        }
        FLAC__stream_encoder_set_channels(encoder, channels);
        FLAC__stream_encoder_set_bits_per_sample(encoder, depth);
        FLAC__stream_encoder_set_sample_rate(encoder, f.Format.nSamplesPerSec);
        FLAC__stream_encoder_set_compression_level(encoder, settings.level);
        FLAC__stream_encoder_set_verify(encoder, settings.verify);
        // A short stream is hashed by libFLAC: a thread and its buffers cost more than they save.
        if ((frames == 0 || frames >= uint64_t{f.Format.nSamplesPerSec} * kMd5ThreadSeconds) && md5.Start(depth))
            FLAC__stream_encoder_set_do_md5(encoder, false);
        if (frames) FLAC__stream_encoder_set_total_samples_estimate(encoder, frames);
        if (!SetMetadata(frames, f.Format.nSamplesPerSec)) {
            Log().Error(u"Error: Out of memory.", function);
            Release();
            return false;
        }
        if (!output.Create(part.Path())) {
            Log().Error(u"Error: Unable to create file '" + path + u"': " + tvkit::os::LastErrorText(), function);
            Release();
            return false;
        }
        const FLAC__StreamEncoderInitStatus init = FLAC__stream_encoder_init_stream(
            encoder, flacout::Output::WriteCb, flacout::Output::SeekCb, flacout::Output::TellCb, nullptr, &output);
        if (init != FLAC__STREAM_ENCODER_INIT_STATUS_OK) {
            std::u16string why = tvkit::Utf8ToUtf16(FLAC__StreamEncoderInitStatusString[init]);
            if (init == FLAC__STREAM_ENCODER_INIT_STATUS_ENCODER_ERROR) why = StateText();
            Log().Error(u"Error: Unable to create file '" + path + u"': " + why, function);
            Release();
            return false;
        }
        samples.resize(kChunkFrames * channels);
        written = 0;
        toInt = flacpcm::FloatTo24{};
        return true;
    }

    // A seek table when the length is known (libFLAC fills its points in as it goes), and the
    // padding for the tags.
    bool SetMetadata(uint64_t frames, unsigned rate) {
        FreeMetadata();
        if (frames) {
            FLAC__StreamMetadata* table = FLAC__metadata_object_new(FLAC__METADATA_TYPE_SEEKTABLE);
            if (!table) return false;
            metadata.push_back(table);
            if (!FLAC__metadata_object_seektable_template_append_spaced_points_by_samples(
                    table, rate * kSeekSpacingSeconds, frames) ||
                !FLAC__metadata_object_seektable_template_sort(table, true))
                return false;
        }
        FLAC__StreamMetadata* padding = FLAC__metadata_object_new(FLAC__METADATA_TYPE_PADDING);
        if (!padding) return false;
        padding->length = static_cast<unsigned>(tagRoom < kMaxPaddingBytes ? tagRoom : kMaxPaddingBytes);
        metadata.push_back(padding);
        return FLAC__stream_encoder_set_metadata(encoder, metadata.data(), static_cast<unsigned>(metadata.size()));
    }

    void FreeMetadata() {
        for (FLAC__StreamMetadata* m : metadata) FLAC__metadata_object_delete(m);
        metadata.clear();
    }

    static std::u16string Describe(const TvWaveFormatExtensible& f) {
        unsigned container = 0, depth = 0;
        const bool pcm = PcmLayout(f, container, depth);
        std::u16string text = pcm ? tvkit::Number16(static_cast<unsigned long long>(depth)) + u"-bit PCM"
                                  : tvkit::Number16(static_cast<unsigned long long>(f.Format.wBitsPerSample)) +
                                        (IsFloat(f) ? u"-bit float" : u"-bit non-PCM");
        text += u", " + tvkit::Number16(static_cast<unsigned long long>(f.Format.nChannels)) + u" channels, ";
        return text + tvkit::Number16(static_cast<unsigned long long>(f.Format.nSamplesPerSec)) + u" Hz";
    }

    std::u16string StateText() const {
        const FLAC__StreamEncoderState state = FLAC__stream_encoder_get_state(encoder);
        if (state == FLAC__STREAM_ENCODER_VERIFY_MISMATCH_IN_AUDIO_DATA)
            return u"verification found a mismatch in the audio data";
        return tvkit::Utf8ToUtf16(FLAC__StreamEncoderStateString[state]);
    }

    void Release() {
        md5.Stop();
        // Deleting a running encoder finishes it into the output first.
        if (encoder) FLAC__stream_encoder_delete(encoder);
        encoder = nullptr;
        output.Close();  // a released stream's file is discarded, whatever this says
    }

    FLAC__StreamEncoder* encoder = nullptr;
    flacmd5::Md5Thread md5;
    flacout::Output output;
    uint64_t tagRoom = tvtags::kTagSlackBytes;
    std::vector<FLAC__StreamMetadata*> metadata;  // must outlive the encoder's use of it
    Settings settings;
    std::u16string path;  // the name the host gave; the file is written as part.Path()
    codecrec::PartFile part;
    TvWaveFormatExtensible format{};
    unsigned channels = 0, container = 0, depth = 0;
    bool isFloat = false;
    flacpcm::FloatTo24 toInt;
    std::vector<FLAC__int32> samples;
    uint64_t written = 0;
};

}  // namespace

TV_KIT_ENCODER_EXPORTS(FlacEncoder)
