#include "batch/tvbatch/plan.h"

#include <algorithm>
#include <set>
#include <string>

#include "foundation/paths/xfile_finder.h"
#include "foundation/text/xstring_list.h"
#include "plugins/codec_handler.h"
#include "tags/id_tags.h"

namespace {

constexpr PluginLogHandles NoLogs{0, 0, 0};

struct Found {
    XPath path;
    XString relative;  // below the SOURCE, '/'-separated
    uint64_t size = 0;
};

bool IsDecodable(const XPath& path, const XStringList& extensions) {
    const XString extension = clTvCodecHandler::ExtensionOf(path).ToLower();
    if (extension.IsEmpty()) return false;
    for (int64_t i = 0; i < extensions.Count(); ++i) {
        if (extensions[i] == extension) return true;
    }
    return false;
}

void Walk(const XPath& folder, const XString& relative, int depth, const XStringList& extensions,
          const XPath& outputFolder, std::vector<Found>& found, int& undecodable) {
    // An output folder inside a SOURCE holds the results of earlier runs, not sources.
    if (depth > TvBatchPlan::MaxDepth || folder == outputFolder) return;
    struct Entry {
        XString name;
        bool folder;
        uint64_t size;
    };
    std::vector<Entry> entries;
    XFileFinder finder(u"*", folder);
    while (finder.Next()) {
        // Hidden entries are the system's and the tools' own (".thumbnails", ".git").
        if (finder.Name().GetAt(1) == u'.') continue;
        entries.push_back({finder.Name(), finder.IsFolder(), finder.Data().size});
    }
    // Track order as a person expects it: "2" before "10".
    std::sort(entries.begin(), entries.end(),
              [](const Entry& a, const Entry& b) { return XNaturalCompare(a.name.Text(), b.name.Text()) < 0; });
    for (const Entry& entry : entries) {
        XPath path = folder;
        path.Append(entry.name);
        const XString rel = relative.IsEmpty() ? entry.name : relative + u"/" + entry.name;
        if (entry.folder) {
            Walk(path, rel, depth + 1, extensions, outputFolder, found, undecodable);
        } else if (IsDecodable(path, extensions)) {
            found.push_back({path, rel, entry.size});
        } else {
            ++undecodable;
        }
    }
}

bool ReadTags(const XPath& path, XIDTags& tags, const void* module) {
    clTvDecoder decoder;
    if (!clTvCodecHandler::LoadDecoderForFile(path, decoder, &NoLogs, module, false)) return false;
    OpenFileRecord record{};
    record.Path = path.Text();
    record.RecordKind = TV_RECORD_KIND_PUMP;
    if (decoder.Open(&record) == 0) return false;
    tags.Parse(record.IDTags, record.IDTagsSize);
    ConversionRecord conv{};
    decoder.Close(&conv);
    return true;
}

XString WithoutExtension(const XString& text) {
    const int dot = text.FindLastChar(u'.');
    const int slash = text.FindLastChar(u'/');
    return dot > slash + 1 ? text.Left(dot - 1) : text;
}

}  // namespace

XStringList TvDecoderExtensions(const void* module) {
    XStringList listed, lower;
    clTvCodecHandler::ListDecoders(false, &listed, nullptr, nullptr, module);
    for (int64_t i = 0; i < listed.Count(); ++i) {
        // An entry may list several, as "*.flac;*.fla".
        XString all = listed[i];
        all.Replace(u"*", u"");
        all.Replace(u",", u";");
        int start = 1;
        for (int semi = all.FindChar(u';');; semi = all.FindChar(u';', start)) {
            XString one = semi ? all.Mid(start, semi - 1) : all.From(start);
            one.TrimLeft();
            one.TrimRight();
            if (!one.IsEmpty()) lower.Add(one.GetAt(1) == u'.' ? one.ToLower() : XString(u".") + one.ToLower());
            if (!semi) break;
            start = semi + 1;
        }
    }
    return lower;
}

void BuildTvBatchPlan(const TvBatchOptions& options, const XString& extension, const XStringList& decoderExtensions,
                      const void* module, TvBatchPlan& plan) {
    plan = TvBatchPlan{};
    std::vector<Found> found;
    XPath outputFolder = options.outputFolder;
    outputFolder.StripBackslashes();
    for (int64_t i = 0; i < options.sources.Count(); ++i) {
        XPath source = options.sources[i];
        source.StripBackslashes();
        if (source.IsEmpty()) source = u"/";
        bool isFolder = false;
        if (!source.Exists(&isFolder)) {
            plan.missingSources.Add(options.sources[i]);
        } else if (isFolder) {
            Walk(source, XString(), 0, decoderExtensions, outputFolder, found, plan.undecodable);
        } else if (IsDecodable(source, decoderExtensions)) {
            XFileFinder finder(source);
            const uint64_t size = finder.Next() ? finder.Data().size : 0;
            found.push_back({source, source.FileName(), size});
        } else {
            ++plan.undecodable;
        }
    }

    const bool needTags = options.namePattern.UsesTags() || options.album == TvBatchOptions::Album::Tag;
    std::set<std::u16string> taken;
    for (const Found& file : found) {
        XIDTags tags;
        // A source whose tags can't be read still gets a name; its conversion tells why.
        if (needTags) ReadTags(file.path, tags, module);
        XPath name = file.path;
        const XString relative = options.namePattern.Expand(name.BaseName(), WithoutExtension(file.relative), &tags);
        XPath output = options.outputFolder;
        output.Append(relative.IsEmpty() ? name.BaseName() : relative);
        // Two sources that come to one name: the later ones get a number.
        XPath unique = output + extension;
        for (int n = 2; !taken.insert(std::u16string(unique.View())).second; ++n) {
            unique = output + XString::Formatted(u" (%d)", n) + extension;
        }

        if (!options.force) {
            XFileFinder sourceFacts(file.path), outputFacts(unique);
            if (sourceFacts.Next() && outputFacts.Next() && !outputFacts.IsFolder() && outputFacts.Data().size > 0 &&
                outputFacts.Data().modified >= sourceFacts.Data().modified) {
                ++plan.upToDate;
                continue;
            }
        }
        TvBatchJob job;
        job.source = file.path;
        job.output = unique;
        job.sourceSize = file.size;
        if (options.album == TvBatchOptions::Album::Tag && !tags.GetValue(u"Album").IsEmpty()) {
            XString artist = tags.GetValue(u"Album Artist");
            if (artist.IsEmpty()) artist = tags.GetValue(u"Artist");
            job.albumKey = XString(u"tag:") + artist.ToLower() + u"\x1f" + tags.GetValue(u"Album").ToLower();
        } else {
            job.albumKey = XString(u"folder:") + file.path.Folder();
        }
        plan.totalBytes += job.sourceSize;
        plan.jobs.push_back(std::move(job));
    }
}
