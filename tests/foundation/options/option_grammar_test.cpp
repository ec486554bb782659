#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/options/xoption_list.h"
#include "foundation/platform/console.h"

namespace {

// "name=value|name=value" for compact comparisons.
std::string Dump(const XOptionList& list) {
    std::string out;
    for (int64_t i = 0; i < list.Count(); ++i) {
        if (i > 0) out += '|';
        out += list.Names()[i].ToStdUtf8() + "=" + list.Values()[i].ToStdUtf8();
    }
    return out;
}

std::string Parsed(const char16_t* text, int start = 1) {
    XOptionList list;
    list.Parse(XString(text), start);
    return Dump(list);
}

}  // namespace

TEST(OptionGrammar, ValueForms) {
    EXPECT_EQ(Parsed(u"-a=b"), "a=b");
    EXPECT_EQ(Parsed(u"-a b"), "a=b");
    EXPECT_EQ(Parsed(u"-a = b"), "a=b");
    EXPECT_EQ(Parsed(u"-a==b"), "a=b");
    EXPECT_EQ(Parsed(u"-a=\"b c\" -d"), "a=b c|d=");
    EXPECT_EQ(Parsed(u"-a\"b c\""), "a=b c");
    // A quote inside an unquoted value is an ordinary character.
    EXPECT_EQ(Parsed(u"-a=x\"y -b"), "a=x\"y|b=");
    EXPECT_EQ(Parsed(u"-silent foo"), "silent=foo");
    EXPECT_EQ(Parsed(u"-a=\"\" -b"), "a=|b=");
    EXPECT_EQ(Parsed(u"-a=\"-5\""), "a=-5");
}

TEST(OptionGrammar, Quirks) {
    EXPECT_EQ(Parsed(u"-a b c -d"), "a=b|d=");
    EXPECT_EQ(Parsed(u"x -a"), "a=");
    EXPECT_EQ(Parsed(u"-a=\"b"), "a=");
    // A value starts with '-' only inside quotes.
    EXPECT_EQ(Parsed(u"-a=-5 -b"), "a=|5=|b=");
    // An unpaired quote: the scan goes on behind it and finds the later option.
    EXPECT_EQ(Parsed(u"-a=\"x -b=1"), "a=|b=1");
    EXPECT_EQ(Parsed(u"--infile=x"), "infile=x");
    EXPECT_EQ(Parsed(u"---x=1"), "-x=1");
    EXPECT_EQ(Parsed(u"-=x -y=1"), "y=1");
    EXPECT_EQ(Parsed(u"- -- -\"q\" -=\"-z\""), "z=");
    EXPECT_EQ(Parsed(u"--"), "");
    EXPECT_EQ(Parsed(u"-a="), "a=");
    // A byte-order mark is just text before the first '-'.
    EXPECT_EQ(Parsed(u"\xFEFF-tvcmd=x"), "tvcmd=x");
}

TEST(OptionGrammar, StartPositionAndReparse) {
    EXPECT_EQ(Parsed(u"-a=1 -b=2", 2), "b=2");
    EXPECT_EQ(Parsed(u"-a=1", 99), "");
    EXPECT_EQ(Parsed(u"-a=1", -3), "a=1");

    XOptionList list;
    // Parsing one of the list's own values must not read freed text.
    list.Parse(XString(u"-x=\"-y=4 -z\""));
    list.Parse(list.Values()[0]);
    EXPECT_EQ(Dump(list), "y=4|z=");
}

TEST(OptionGrammar, Lookup) {
    XOptionList list(XString(u"-Name=first -name=second -flag -empty=\"\""));
    XString value(u"stale");
    EXPECT_TRUE(list.Get(u"NAME", value));
    EXPECT_EQ(value, u"first");
    EXPECT_FALSE(list.Get(u"NAME", value, false));
    EXPECT_TRUE(value.IsEmpty());
    EXPECT_TRUE(list.Has(u"FLAG"));
    EXPECT_TRUE(list.Get(u"empty", value));
    EXPECT_EQ(list.Find(u"nope"), -1);

    XString name;
    EXPECT_TRUE(list.GetAt(1, name, value));
    EXPECT_EQ(name, u"name");
    EXPECT_EQ(value, u"second");
    EXPECT_FALSE(list.GetAt(4, name, value));
    EXPECT_TRUE(name.IsEmpty() && value.IsEmpty());

    list.RemoveAt(0);
    list.RemoveAt(99);
    EXPECT_EQ(list.Count(), 3);
    EXPECT_EQ(list.ToText(), u"-name=\"second\" -flag -empty");
}

TEST(OptionGrammar, FromArguments) {
    XOptionList list;
    const char* args[] = {"prog", "-a", "b", "c", "-d"};
    list.FromArgv(5, args, 1);
    // An item without '-' ends the parsing.
    EXPECT_EQ(Dump(list), "a=b");

    const char* more[] = {"-q=\"x y\"", "--long=1", "-flag", "-next", "-e=", "x-mid=2", "-=z", "-v", "-5"};
    list.FromArgv(9, more, 0);
    EXPECT_EQ(Dump(list), "q=\"x y\"|long=1|flag=|next=|e=|mid=2|v=|5=");

    const char* split[] = {"-x", "", "-y", "two words"};
    list.FromArgv(4, split, 0);
    EXPECT_EQ(Dump(list), "x=|y=two words");
}

// The joined command line must parse to what FromArgv gives for the same vector.
TEST(OptionGrammar, JoinedCommandLineAgreesWithArgv) {
    const std::vector<std::vector<const char*>> vectors = {
        {"travex", "-infile=-", "-outfile=o.mp3", "-convert_to=mp3"},
        {"/opt/my tools/a-b/travex", "-gain=-3", "-title=a b", "-e=", "-f"},
        {"travex", "-infile", "-", "-x", "", "-y", "two words", "-z", "=eq"},
        {"tra\"vex", "---dash=1", "--double", "x-mid=2", "-a==b", "-w=in\"side\""},
        {"travex", "-u=\xC3\xBC\xE2\x82\xAC", "-bad=\xE2\x82", "-bad2=\xFF\"q", "-t=\ttab"},
        {"travex", "-a", "b", "stop", "-never=1"},
        {"travex", "-=x", "-", "v", "--", "-k=1"},
        {"travex"},
        {},
    };
    for (const auto& v : vectors) {
        int argc = static_cast<int>(v.size());
        XOptionList fromArgv;
        fromArgv.FromArgv(argc, v.data(), 1);
        XString joined = XJoinCommandLine(argc, v.data());
        ASSERT_EQ(joined.GetAt(1), u'"');
        XOptionList fromText;
        fromText.Parse(joined, joined.FindChar(u'"', 2) + 1);
        EXPECT_EQ(Dump(fromText), Dump(fromArgv)) << joined.ToStdUtf8();
    }
}

// What the grammar can't carry is degraded without inventing options.
TEST(OptionGrammar, JoinedCommandLineLosesOnlyTheUnrepresentable) {
    const char* args[] = {"travex", "-q=\"x y\"", "-a b=1", "-c\"d", "-w=\"in\"side", "-k=2"};
    XString joined = XJoinCommandLine(6, args);
    XOptionList list;
    list.Parse(joined, joined.FindChar(u'"', 2) + 1);
    EXPECT_EQ(Dump(list), "q=x y|w=inside|k=2");
}
