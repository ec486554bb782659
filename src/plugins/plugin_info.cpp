#include "plugins/plugin_info.h"

#include <cstring>

#include "foundation/files/xpipe.h"
#include "foundation/paths/xpath.h"
#include "foundation/wave/xwave_format.h"
#include "plugins/codec_handler.h"

namespace {

uint32_t ReadU32(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

// A UTF-16 text up to its NUL within [at, end); moves at behind the NUL, or to end.
XString ReadText(const uint8_t* base, size_t& at, size_t end) {
    XString text;
    while (at + 1 < end) {
        const char16_t c = static_cast<char16_t>(base[at] | base[at + 1] << 8);
        at += 2;
        if (!c) return text;
        text += c;
    }
    at = end;
    return text;
}

// Plug-in text from the pipe (UTF-16 lines) into the error list.
void DrainPipe(XPipe& pipe, XStringList& errors) {
    XStringList lines;
    if (!pipe.ReadAvailableLines(lines)) return;
    for (const XString& line : lines)
        if (!line.IsEmpty()) errors.Add(line);
}

}  // namespace

void AppendTagLines(const void* block, uint32_t size, XStringList& lines, const char16_t* indent) {
    if (!block || size < 4) return;
    const auto* base = static_cast<const uint8_t*>(block);
    const uint32_t count = ReadU32(base);
    size_t at = 4;
    for (uint32_t i = 0; i < count && at + 4 <= size; ++i) {
        const uint32_t length = ReadU32(base + at);
        if (length < 4 || length > size - at) break;
        const size_t end = at + length;
        size_t pos = at + 4;
        XString line(indent);
        line += ReadText(base, pos, end);
        line += u"=";
        line += ReadText(base, pos, end);
        if (pos < end) {
            line += u"[";
            line += XString::FormatUInt(end - pos);
            line += u" bytes]";
        }
        lines.Add(line);
        at = end;
    }
}

namespace {

// "  (user)" behind a plug-in of the user's folder, nothing behind one of the program's.
const char16_t* Origin(const std::vector<clTvCodecHandler::PluginFile>& files, const XString& fileName) {
    for (const clTvCodecHandler::PluginFile& file : files)
        if (XString::Equal(file.name.Text(), fileName.Text(), 0, XPathNamesIgnoreCase))
            return file.user ? u"  (user)" : u"";
    return u"";
}

}  // namespace

void DescribeInstalledPlugins(XStringList& lines, const void* module) {
    lines.Add(u"Plug-in folders:");
    lines.Add(XString(u"  ") + ModuleFolder(module) + u"  (program)");
    const XString userFolder = clTvCodecHandler::UserPluginFolder(u"");
    if (!userFolder.IsEmpty()) lines.Add(XString(u"  ") + userFolder + u"  (user)");

    XStringList filters;
    clTvCodecHandler::ListDecoders(false, nullptr, nullptr, &filters, module);
    lines.Add(u"Decoders:");
    for (const XString& filter : filters) {
        XString shown, pattern;
        filter.SplitAt(u"\r", shown, pattern);
        lines.Add(XString(u"  ") + shown);
    }
    lines.Add(u"Decoder libraries:");
    for (const clTvCodecHandler::PluginFile& file : clTvCodecHandler::PluginFiles(module, u"decoder"))
        lines.Add(XString(u"  ") + file.name + (file.user ? u"  (user)" : u""));

    const auto encoderFiles = clTvCodecHandler::PluginFiles(module, u"encoder");
    XStringList encoders;
    clTvCodecHandler::ListEncoders(encoders, nullptr, module);
    lines.Add(u"Encoders:");
    for (const XString& name : encoders) {
        XString line(u"  ");
        line += name;
        const XString extension = clTvCodecHandler::GetEncoderExtension(name, module);
        line += u"  ";
        line += extension.IsEmpty() ? XString(u"(no extension)") : extension;
        line += clTvCodecHandler::IsLosslessCodec(name.Text()) ? u"  lossless" : u"  lossy";
        line += Origin(encoderFiles, name + clTvCodecHandler::LibrarySuffix);
        lines.Add(line);
    }

    lines.Add(u"DSP effects:");
    const PluginLogHandles none{0, 0, 0};
    for (const clTvCodecHandler::PluginFile& file : clTvCodecHandler::PluginFiles(module, u"DSPs")) {
        XPath name(file.name);
        name.StripExtension();
        clTvDSP dsp;
        XString line(u"  ");
        line += name;
        if (clTvCodecHandler::LoadDSP(name, dsp, &none, module)) {
            PluginArgs args{};
            args.Text = u"";
            line += dsp.Get(TV_PROP_IS_LIVE, &args) ? u"  live" : u"  non-live";
        } else {
            line += u"  (does not load)";
        }
        if (file.user) line += u"  (user)";
        lines.Add(line);
    }
}

bool DescribeFile(const XString& path, XStringList& lines, XStringList& errors, const void* module) {
    XPipe errorPipe, infoPipe;
    errorPipe.Create(false);
    infoPipe.Create(false);
    const PluginLogHandles logs{errorPipe.WriteHandle(), infoPipe.WriteHandle(), 0};

    lines.Add(XString(u"File: ") + path);
    clTvDecoder decoder;
    if (!clTvCodecHandler::LoadDecoderForFile(path, decoder, &logs, module, false)) {
        errors.Add(XString(u"Error: Unable to load decoder for file type '") + clTvCodecHandler::ExtensionOf(path) +
                   u"', codec not installed? visit 'Format Depot'.");
        return false;
    }
    lines.Add(XString(u"Decoder: ") + decoder.Path);
    OpenFileRecord rec{};
    rec.Path = path.Text();
    rec.RecordKind = TV_RECORD_KIND_PUMP;
    const bool opened = decoder.Open(&rec) != 0;
    if (opened) {
        XWaveFormat format;
        format.SetFromBytes(&rec.Format, sizeof rec.Format);
        lines.Add(XString(u"Format: ") + format.ToText());
        lines.Add(XString(u"Length: ") + XString::FormatInt(rec.LengthMs) + u" ms, " +
                  XString::FormatInt(rec.LengthBytes) + u" bytes");
        lines.Add(u"InfoTags:");
        AppendTagLines(rec.InfoTags, rec.InfoTagsSize, lines, u"  ");
        lines.Add(u"IDTags:");
        AppendTagLines(rec.IDTags, rec.IDTagsSize, lines, u"  ");
        ConversionRecord conv{};
        decoder.Close(&conv);
    }
    DrainPipe(errorPipe, errors);
    DrainPipe(infoPipe, lines);
    return opened;
}
