// tvbatch's command line and its output-name patterns.
#include <gtest/gtest.h>

#include "batch/tvbatch/options.h"
#include "batch/tvbatch/report.h"
#include "tags/id_tags.h"

namespace {

XStringList Args(std::initializer_list<const char*> items) {
    XStringList list;
    for (const char* item : items) list.Add(XString(item, true));
    return list;
}

std::string Refusal(std::initializer_list<const char*> items) {
    TvBatchOptions options;
    XString error;
    if (ParseTvBatchArguments(Args(items), options, error)) return "(accepted)";
    return error.ToStdUtf8();
}

std::string Expand(const char* pattern, const XIDTags* tags, const char* name = "song",
                   const char* rel = "disc 1/song") {
    TvNamePattern parsed;
    XString error;
    if (!parsed.Parse(XString(pattern, true), error)) return "! " + error.ToStdUtf8();
    return parsed.Expand(XString(name, true), XString(rel, true), tags).ToStdUtf8();
}

}  // namespace

TEST(TvBatchOptions, TakesItsOwnOptionsAndPassesTheRestToTheEncoder) {
    TvBatchOptions o;
    XString error;
    ASSERT_TRUE(ParseTvBatchArguments(
        Args({"-j", "3", "-convert_to=mp3", "-V=2", "-abr=160 x", "music", "-o", "out dir", "-force", "-dspeffect2=B=2",
              "-dspeffect1=ReplayGain=mode \"album\"", "-album=TAG", "-dry-run", "--", "-odd.flac", "-noidtag"}),
        o, error))
        << error.ToStdUtf8();
    EXPECT_EQ(o.encoderName, u"mp3");
    EXPECT_EQ(o.encoderOptions, u"-V=\"2\" -abr=\"160 x\"");
    ASSERT_EQ(o.sources.Count(), 3);
    EXPECT_EQ(o.sources[0], u"music");
    EXPECT_EQ(o.sources[1], u"-odd.flac");  // behind "--" everything is a source
    EXPECT_EQ(o.sources[2], u"-noidtag");
    EXPECT_EQ(o.outputFolder, u"out dir");
    EXPECT_EQ(o.workers, 3);
    EXPECT_TRUE(o.force);
    EXPECT_TRUE(o.dryRun);
    EXPECT_EQ(o.album, TvBatchOptions::Album::Tag);
    // Numbered as travex takes them, quotes as "{qt}".
    EXPECT_EQ(o.dspOptions, u"-dspeffect1=\"ReplayGain=mode {qt}album{qt}\" -dspeffect2=\"B=2\"");
    // No pattern: the source tree is mirrored.
    EXPECT_EQ(o.namePattern.Expand(u"a", u"x/a", nullptr), u"x/a");

    ASSERT_TRUE(ParseTvBatchArguments(Args({"-j12", "-o=o", "-convert_to=wav", "s"}), o, error));
    EXPECT_EQ(o.workers, 12);
    EXPECT_EQ(o.outputFolder, u"o");
    ASSERT_TRUE(ParseTvBatchArguments(Args({"x", "--help"}), o, error));
    EXPECT_TRUE(o.help);
}

TEST(TvBatchOptions, RefusesWhatCannotRunWithAMessage) {
    EXPECT_EQ(Refusal({"a", "-o", "b"}), "no encoder: give -convert_to=ENCODER");
    EXPECT_EQ(Refusal({"-convert_to=mp3", "-o", "b"}), "no SOURCE given");
    EXPECT_EQ(Refusal({"-convert_to=mp3", "a"}), "no output folder: give -o OUTDIR");
    EXPECT_EQ(Refusal({"-convert_to=mp3", "a", "-o"}), "-o wants a value");
    EXPECT_EQ(Refusal({"-convert_to=mp3", "a", "-o", "b", "-j", "0"}),
              "-j wants a number of workers from 1 to 64, not \"0\"");
    EXPECT_EQ(Refusal({"-j65", "-convert_to=mp3", "a", "-o", "b"}),
              "-j wants a number of workers from 1 to 64, not \"65\"");
    EXPECT_EQ(Refusal({"-j", "two", "-convert_to=mp3", "a", "-o", "b"}),
              "-j wants a number of workers from 1 to 64, not \"two\"");
    EXPECT_EQ(Refusal({"-convert_to=mp3", "-outfile=x", "a", "-o", "b"}), "-outfile is set by tvbatch for each file");
    EXPECT_EQ(Refusal({"-convert_to=mp3", "-album=disc", "a", "-o", "b"}), "-album is \"folder\" or \"tag\"");
    EXPECT_EQ(Refusal({"-convert_to=mp3", "-", "-o", "b"}), "tvbatch reads no standard input: give files or folders");
    EXPECT_EQ(Refusal({"-convert_to=mp3", "-name={artist", "a", "-o", "b"}), "-name: a '{' without its '}'");
    EXPECT_EQ(Refusal({"-convert_to=mp3", "-name=a}b", "a", "-o", "b"}),
              "-name: a '}' without its '{' (write \"}}\" for the character)");
    EXPECT_EQ(Refusal({"-convert_to=mp3", "-name={}", "a", "-o", "b"}), "-name: an empty field \"{}\"");
    EXPECT_EQ(Refusal({"-convert_to=mp3", "-name={track:10}", "a", "-o", "b"}),
              "-name: the width behind ':' must be a number up to 9");
    EXPECT_EQ(Refusal({"-convert_to=mp3", "-name={a/b}", "a", "-o", "b"}),
              "-name: a field name must be a short name without '{' or '/'");
}

TEST(TvBatchOptions, PatternsNameOutputsFromTagsAndPaths) {
    XIDTags tags;
    tags.Add(u"Artist", u"AC/DC");
    tags.Add(u"Album Artist", u"Various: \"Artists\"");
    tags.Add(u"Album", u"..");
    tags.Add(u"Track", u"3/12");
    tags.Add(u"Title", u"What?\nsecond line");
    EXPECT_EQ(Expand("{artist}/{album}/{track:02} {title}", &tags), "AC_DC/_/03 What_");
    EXPECT_EQ(Expand("{AlbumArtist} - {album artist}", &tags), "Various_ _Artists_ - Various_ _Artists_");
    EXPECT_EQ(Expand("{relpath} [{name}] {{x}}", &tags), "disc 1/song [song] {x}");
    // Missing tags: a word that says so, the title falls back to the file's name, a padded
    // number is left out, and the empty folder between two slashes falls away.
    XIDTags none;
    EXPECT_EQ(Expand("{artist}/{genre}/{track:2}/{title}", &none), "Unknown Artist/Unknown Genre/song");
    EXPECT_EQ(Expand("{relpath}", nullptr, "x", "../a/./b"), "a/b");
    EXPECT_EQ(Expand("{name}", nullptr, "..."), "_");
}

TEST(TvBatchProgress, StatusLineTellsCountsAudioSpeedAndTimeLeft) {
    TvBatchProgress p;
    p.total = 10;
    p.done = 3;
    p.failed = 1;
    p.skipped = 2;
    p.audioDoneMs = 3600000;
    p.runningAudioMs = 61000;
    p.totalBytes = 1000;
    p.bytesDone = 400;
    p.runningBytes = 100;
    // Half the bytes in 60 s: as long again to go; 1:01:01 of audio in 60 s is 61x.
    EXPECT_EQ(p.StatusLine(60000), u"3/10 done, 1 failed, 2 skipped | 1:01:01 audio, 61.0x realtime | 1:00 left");
    // No guess before two seconds, nor before a hundredth of the work.
    EXPECT_EQ(p.StatusLine(1000), u"3/10 done, 1 failed, 2 skipped | 1:01:01 audio, 3661.0x realtime");
    TvBatchProgress start;
    start.total = 4;
    start.totalBytes = 1000;
    EXPECT_EQ(start.StatusLine(5000), u"0/4 done, 0 failed, 0 skipped | 0:00 audio");
}
