#include "batch/tvbatch/options.h"

#include "foundation/options/xoption_list.h"
#include "plugins/dsp_options.h"

namespace {

// travex options that tvbatch sets for each child itself.
constexpr const char16_t* Reserved[] = {u"infile", u"outfile", u"tvcmd", u"tvcmd8", u"batchid", u"evtquit"};

bool Named(const XString& name, const char16_t* wanted) { return XString::Equal(name.Text(), wanted, 0, true); }

bool ParseWorkers(const XString& text, int& workers, XString& error) {
    int64_t value = 0;
    bool digits = !text.IsEmpty() && text.Length() <= 3;
    for (int i = 1; digits && i <= text.Length(); ++i) {
        const char16_t c = text.GetAt(i);
        digits = c >= u'0' && c <= u'9';
        value = value * 10 + (c - u'0');
    }
    if (!digits || value < 1 || value > TvBatchOptions::MaxWorkers) {
        error = XString::Formatted(u"-j wants a number of workers from 1 to %d, not \"%s\"", TvBatchOptions::MaxWorkers,
                                   text.Text());
        return false;
    }
    workers = static_cast<int>(value);
    return true;
}

}  // namespace

XString TvBatchUsage() {
    return u"Usage: tvbatch [options] -convert_to=ENCODER [encoder options] SOURCE... -o OUTDIR\n"
           u"  SOURCE             a file, or a folder walked for the files the installed decoders read\n"
           u"  -o OUTDIR          where the outputs go (folders are made)\n"
           u"  -name=PATTERN      output names, e.g. \"{artist}/{album}/{track:02} {title}\"; default {relpath}\n"
           u"  -j N               conversions at once (default: one per processor)\n"
           u"  -dspeffectN=\"NAME=PARAMS\"  DSP effects as travex takes them\n"
           u"  -album=folder|tag  album groups of a batch effect such as ReplayGain (default: folder)\n"
           u"  -priority=low|idle|normal|high  priority of the conversions\n"
           u"  -force             convert even when the output is newer than its source\n"
           u"  -dry-run           list what would be done and do nothing\n"
           u"  Other -name=value options go to the encoder. \"--\" ends the options.\n";
}

bool ParseTvBatchArguments(const XStringList& arguments, TvBatchOptions& options, XString& error) {
    options = TvBatchOptions{};
    XOptionList dsps;
    XStringList encoderItems;
    bool sourcesOnly = false;
    const int64_t count = arguments.Count();
    for (int64_t i = 0; i < count; ++i) {
        const XString& argument = arguments[i];
        if (sourcesOnly || argument.GetAt(1) != u'-' || argument == u"-") {
            if (argument.IsEmpty()) {
                error = u"an empty SOURCE";
                return false;
            }
            if (argument == u"-") {
                error = u"tvbatch reads no standard input: give files or folders";
                return false;
            }
            options.sources.Add(argument);
            continue;
        }
        if (argument == u"--") {
            sourcesOnly = true;
            continue;
        }
        // "-name=value", "--name=value" or "-name".
        XString body = argument.From(argument.GetAt(2) == u'-' ? 3 : 2);
        XString name = body, value;
        const int equals = body.FindChar(u'=');
        if (equals) {
            name = body.Left(equals - 1);
            value = body.From(equals + 1);
        }
        if (name.IsEmpty()) {
            error = XString(u"\"") + argument + u"\" is no option";
            return false;
        }
        auto separateValue = [&](XString& out) {
            if (equals) {
                out = value;
                return true;
            }
            if (i + 1 >= count) {
                error = XString(u"-") + name + u" wants a value";
                return false;
            }
            out = arguments[++i];
            return true;
        };
        if (Named(name, u"help") || Named(name, u"h") || Named(name, u"?")) {
            options.help = true;
        } else if (name == u"o") {
            if (!separateValue(options.outputFolder)) return false;
            if (options.outputFolder.IsEmpty()) {
                error = u"-o wants an output folder";
                return false;
            }
        } else if (name == u"j" || (name.GetAt(1) == u'j' && name.GetAt(2) >= u'0' && name.GetAt(2) <= u'9')) {
            XString number = name.From(2);
            if (number.IsEmpty() && !separateValue(number)) return false;
            if (!ParseWorkers(number, options.workers, error)) return false;
        } else if (Named(name, u"convert_to")) {
            options.encoderName = value;
        } else if (Named(name, u"name")) {
            options.namePatternText = value;
            if (!options.namePattern.Parse(value, error)) return false;
        } else if (Named(name, u"album")) {
            if (Named(value, u"folder")) {
                options.album = TvBatchOptions::Album::Folder;
            } else if (Named(value, u"tag")) {
                options.album = TvBatchOptions::Album::Tag;
            } else {
                error = u"-album is \"folder\" or \"tag\"";
                return false;
            }
        } else if (Named(name, u"priority")) {
            options.priority = value;
        } else if (Named(name, u"force")) {
            options.force = true;
        } else if (Named(name, u"dry-run") || Named(name, u"dryrun")) {
            options.dryRun = true;
        } else if (name.Length() > 9 && XString::Equal(name.Text(), u"dspeffect", 9, true)) {
            dsps.Add(name.ToLower(), value);
        } else {
            for (const char16_t* reserved : Reserved) {
                if (Named(name, reserved)) {
                    error = XString(u"-") + name + u" is set by tvbatch for each file";
                    return false;
                }
            }
            // The encoder's option, quoted as travex's own command line would carry it.
            XString item = XString(u"-") + name;
            if (!value.IsEmpty()) {
                value.Replace(u"\"", u"");  // a quote can't stand inside a quoted value
                item += XString(u"=\"") + value + u"\"";
            }
            encoderItems.Add(item);
        }
    }
    if (options.help) return true;
    if (options.encoderName.IsEmpty()) {
        error = u"no encoder: give -convert_to=ENCODER";
        return false;
    }
    if (options.sources.Count() == 0) {
        error = u"no SOURCE given";
        return false;
    }
    if (options.outputFolder.IsEmpty()) {
        error = u"no output folder: give -o OUTDIR";
        return false;
    }
    if (options.namePatternText.IsEmpty()) options.namePattern.Parse(u"{relpath}", error);
    for (int64_t i = 0; i < encoderItems.Count(); ++i) {
        if (i > 0) options.encoderOptions.AppendChar(u' ');
        options.encoderOptions += encoderItems[i];
    }
    DSPSpecList chain;
    ParseDSPOptions(dsps, chain);
    options.dspOptions = FormatDSPOptions(chain);
    options.dspOptions.TrimLeft();
    return true;
}
