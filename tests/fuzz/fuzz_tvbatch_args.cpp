// tvbatch's command line: arguments are the input split at NUL bytes (UTF-8, invalid bytes
// included). Whatever parses must give a usable run: an encoder, sources, an output folder, a
// pattern that expands to a relative path without "." or ".." components, and a worker count
// in range.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "batch/tvbatch/options.h"
#include "tags/id_tags.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    XStringList arguments;
    std::string current;
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            arguments.Add(XString(current.c_str(), true));
            current.clear();
        } else {
            current += static_cast<char>(data[i]);
        }
    }
    arguments.Add(XString(current.c_str(), true));

    TvBatchOptions options;
    XString error;
    if (!ParseTvBatchArguments(arguments, options, error)) {
        if (error.IsEmpty()) std::abort();
        return 0;
    }
    if (options.help) return 0;
    if (options.encoderName.IsEmpty() || options.sources.Count() == 0 || options.outputFolder.IsEmpty()) std::abort();
    if (options.workers < 0 || options.workers > TvBatchOptions::MaxWorkers) std::abort();

    XIDTags tags;
    tags.Add(u"Artist", u"../..");
    tags.Add(u"Album", u"a/b\\c:d");
    tags.Add(u"Track", u"3/12");
    tags.Add(u"Title", XString(current.c_str(), true));
    const XString expanded = options.namePattern.Expand(XString(current.c_str(), true), u"x/../y/./z", &tags);
    // An empty name is allowed: the source's own name stands in for it.
    if (expanded.IsEmpty()) return 0;
    if (expanded.GetAt(1) == u'/') std::abort();
    int start = 1;
    for (int slash = expanded.FindChar(u'/');; slash = expanded.FindChar(u'/', start)) {
        const XString part = slash ? expanded.Mid(start, slash - 1) : expanded.From(start);
        if (part.IsEmpty() || part == u"." || part == u"..") std::abort();
        if (!slash) break;
        start = slash + 1;
    }
    return 0;
}
