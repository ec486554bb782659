#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "tags/tag_writer.h"

namespace {

// A decoder that refuses a given number of times, then writes.
class FakeDecoder : public XTagWriterDecoder {
public:
    bool Load(const XString& name, const PluginLogHandles& logs) override {
        loadedName = name;
        loadLogs = logs;
        return ++loads > 0;
    }
    int32_t SetIDTags(const XString& path, const void*, uint32_t size) override {
        setPath = path;
        setSize = size;
        return ++sets > refusals ? 1 : 0;
    }
    void Unload() override { ++unloads; }

    int refusals = 0;
    int loads = 0, sets = 0, unloads = 0;
    uint32_t setSize = 0;
    XString loadedName, setPath;
    PluginLogHandles loadLogs{};
};

struct Recorder {
    XTagWriterContext context;
    std::vector<uint32_t> sleeps;
    XString console;
    std::vector<XString> debug;
    int openTries = 0;
    int openFailures = 0;

    Recorder() {
        context.logs.ErrorLog = 11;
        context.logs.InfoLog = 12;
        context.logs.DebugLog = 13;
        context.sleep = [this](uint32_t ms) { sleeps.push_back(ms); };
        context.print = [this](const XString& text, bool endLine) {
            console.AppendFast(text);
            if (endLine) console.AppendFast(u"\n");
        };
        context.debugWrite = [this](const XString& text, const PluginLogHandles&, const char* fn) {
            debug.push_back(text + XString(u" ") + XString(fn, false));
        };
        context.canOpen = [this](const XString&) { return ++openTries > openFailures; };
    }
    uint32_t Slept(uint32_t ms) const {
        uint32_t n = 0;
        for (uint32_t s : sleeps) n += s == ms;
        return n;
    }
};

const uint8_t kBlock[8] = {1, 0, 0, 0, 4, 0, 0, 0};

}  // namespace

TEST(TagWriter, NothingToDo) {
    FakeDecoder decoder;
    Recorder r;
    EXPECT_TRUE(XWriteIDTags(decoder, r.context, u"/x/a.mp3", u"", nullptr, 8));
    EXPECT_TRUE(XWriteIDTags(decoder, r.context, u"/x/a.mp3", u"", kBlock, 0));
    EXPECT_TRUE(XWriteIDTags(decoder, r.context, u"/x/a.IGNORE", u"", kBlock, 8));
    EXPECT_TRUE(XWriteIDTags(decoder, r.context, u"/x/a.mp3", u"/x/b.iGnore", kBlock, 8));
    EXPECT_EQ(decoder.loads, 0);
    EXPECT_TRUE(r.console.IsEmpty());

    // No decoder for the format beside the program: not a failure, and the words still close.
    auto home =
        std::filesystem::temp_directory_path() / ("tv-tagwriter-registry-" + std::to_string(std::random_device{}()));
    setenv("TONVALE_CONFIG_HOME", home.c_str(), 1);
    XCodecTagDecoder real;
    EXPECT_TRUE(XWriteIDTags(real, r.context, u"/no/such/out.zzzq", u"", kBlock, 8));
    unsetenv("TONVALE_CONFIG_HOME");
    std::filesystem::remove_all(home);
    EXPECT_EQ(r.console, XString(u"Writing ID Tags: Done\n"));
    ASSERT_EQ(r.debug.size(), 2u);
    EXPECT_EQ(r.debug[0], XString(u"->-> TvTravex::IDTagWriter"));
    EXPECT_EQ(r.debug[1], XString(u"<-<- TvTravex::IDTagWriter"));
}

TEST(TagWriter, WaitsForTheFileAndRetriesThePlugin) {
    auto path =
        std::filesystem::temp_directory_path() / ("tv-tagwriter-" + std::to_string(std::random_device{}()) + ".mp3");
    std::ofstream(path) << "audio";
    XString file(path.string().c_str(), true);

    FakeDecoder decoder;
    Recorder r;
    r.context.silent = true;
    r.openFailures = 5;
    decoder.refusals = 3;
    EXPECT_TRUE(XWriteIDTags(decoder, r.context, file, u"/other/name.flac", kBlock, 8));
    EXPECT_EQ(decoder.loadedName, XString(u"/other/name.flac"));
    EXPECT_EQ(decoder.setPath, file);
    EXPECT_EQ(decoder.setSize, 8u);
    EXPECT_EQ(decoder.loadLogs.ErrorLog, 0);  // failing tries stay out of the error pipe
    EXPECT_EQ(decoder.loadLogs.InfoLog, 12);
    EXPECT_EQ(r.openTries, 6);
    EXPECT_EQ(r.Slept(100), 5u);
    EXPECT_EQ(r.Slept(750), 3u);
    EXPECT_EQ(decoder.unloads, 1);
    EXPECT_TRUE(r.console.IsEmpty());

    // A file that never opens: 30 tries, then the writer goes on. A plug-in that always
    // refuses: ten tries with nine pauses between them, then false.
    Recorder locked;
    locked.openFailures = 1000;
    FakeDecoder refusing;
    refusing.refusals = 1000;
    EXPECT_FALSE(XWriteIDTags(refusing, locked.context, file, u"", kBlock, 8));
    EXPECT_EQ(locked.openTries, 30);
    EXPECT_EQ(locked.Slept(100), 29u);
    EXPECT_EQ(refusing.sets, 10);
    EXPECT_EQ(locked.Slept(750), 9u);
    EXPECT_EQ(refusing.unloads, 1);
    EXPECT_EQ(locked.console, XString(u"Writing ID Tags: "));
    std::filesystem::remove(path);

    // A file that doesn't exist isn't waited for.
    Recorder missing;
    FakeDecoder fresh;
    EXPECT_TRUE(XWriteIDTags(fresh, missing.context, u"/no/such/file.mp3", u"", kBlock, 8));
    EXPECT_EQ(missing.openTries, 0);
}
