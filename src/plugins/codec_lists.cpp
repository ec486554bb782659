// The listing operations of clTvCodecHandler: decoders with their filter lines, and encoders
// in their display order.
#include <algorithm>
#include <vector>

#include "foundation/paths/xpath.h"
#include "plugins/codec_handler.h"

namespace {

struct Entry {
    XString extension;
    XString description;
};

XString Patterns(const std::vector<const Entry*>& run, const char16_t* separator) {
    XString text;
    for (size_t i = 0; i < run.size(); ++i) {
        if (i) text += separator;
        text += u"*";
        text += run[i]->extension;
    }
    return text;
}

}  // namespace

void clTvCodecHandler::ListDecoders(bool addAllFiles, XStringList* extensions, XStringList* descriptions,
                                    XStringList* filterLines, const void* module) {
    const PluginLogHandles none{0, 0, 0};
    std::vector<Entry> entries;
    for (const PluginFile& file : PluginFiles(module, u"decoder")) {
        clTvDecoder decoder;
        // A library that fails to load or to make an instance is passed over in silence.
        if (!decoder.LoadFile(file.path, XString(TV_EXT_NOTUSING)) || !decoder.Create(&none)) continue;
        PluginArgs args{};
        if (decoder.Get(TV_PROP_UNLISTED, &args)) continue;
        for (uint32_t index = 0;; ++index) {
            args = PluginArgs{};
            args.Index = index;
            if (!decoder.Get(TV_PROP_DECODES, &args) || !args.Text || !args.Text2) break;
            XString extension(args.Text);
            if (extension.Find(TV_EXT_IGNORE)) continue;
            entries.push_back({extension, XString(args.Text2)});
        }
    }

    if (extensions)
        for (const Entry& e : entries) extensions->Add(e.extension);
    if (descriptions)
        for (const Entry& e : entries) descriptions->Add(e.description);
    if (!filterLines) return;

    std::vector<const Entry*> sorted;
    for (const Entry& e : entries) sorted.push_back(&e);
    std::stable_sort(sorted.begin(), sorted.end(), [](const Entry* a, const Entry* b) {
        return XString::Compare(a->description.Text(), b->description.Text(), 0, true) < 0;
    });
    if (addAllFiles) {
        std::vector<const Entry*> all;
        for (const Entry& e : entries) all.push_back(&e);
        filterLines->Add(XString(u"All Audio Files\r") + Patterns(all, u";"));
    }
    for (size_t i = 0; i < sorted.size();) {
        std::vector<const Entry*> run{sorted[i]};
        size_t j = i + 1;
        while (j < sorted.size() && sorted[j]->description == sorted[i]->description) run.push_back(sorted[j++]);
        filterLines->Add(sorted[i]->description + u"  (" + Patterns(run, u"; ") + u")\r" + Patterns(run, u";"));
        i = j;
    }
}

void clTvCodecHandler::ListEncoders(XStringList& output, const char16_t* leaveOut, const void* module) {
    output.Clear();
    XStringList skip;
    if (leaveOut) XSplitToList(skip, leaveOut, u":");
    for (const PluginFile& file : PluginFiles(module, u"encoder")) {
        XPath name(file.name);
        name.StripExtension();
        if (skip.Find(name.Text(), true) < 0) output.Add(name);
    }
    // Bracketed names other than "[multi encoder]" go last: "{" sorts after the letters once
    // they are folded to lower case, "[" before them.
    for (XString& name : output)
        if (name.Length() > 1 && name.GetAt(1) == u'[' && !XString::Equal(name.Text(), u"[multi encoder]", 0, true)) {
            name.RemoveAt(1);
            name.InsertChar(u'{', 1);
        }
    output.Sort(true);
    for (XString& name : output)
        if (name.GetAt(1) == u'{') {
            name.RemoveAt(1);
            name.InsertChar(u'[', 1);
        }
}
