// The run's plan as the options give it, read in-process without running anything.
#include <gtest/gtest.h>

#include "driver/run_plan.h"
#include "foundation/platform/path_rules.h"

namespace {
TvPlanProblem Read(const char16_t* line, TvRunPlan& plan) { return TvReadRunPlan(XOptionList(XString(line)), plan); }
}  // namespace

TEST(RunPlan, ProblemsInTheOrderUsersAreTold) {
    TvRunPlan plan;
    EXPECT_EQ(Read(u"", plan), TvPlanProblem::Usage);
    EXPECT_EQ(Read(u"-infile=a -outfile=b -convert_to=c -HELP", plan), TvPlanProblem::Usage);
    EXPECT_EQ(Read(u"-infile=a -outfile=b", plan), TvPlanProblem::NoEncoder);
    EXPECT_EQ(Read(u"-convert_to=mp3 -infile= -outfile=b", plan), TvPlanProblem::NoInput);
    EXPECT_EQ(Read(u"-convert_to=mp3 -infile=a", plan), TvPlanProblem::NoOutput);
}

TEST(RunPlan, ValuesAsTheRunUsesThem) {
    TvRunPlan plan;
    ASSERT_EQ(Read(u"-infile=\"-\" -outfile=o.mp3 -convert_to=mp3 -tmpfolder=t -batchid=AUTO -evtquit=q", plan),
              TvPlanProblem::None);
    EXPECT_TRUE(plan.stdinIsSource);
    EXPECT_EQ(plan.tagLoadFile, u"o.mp3");
    EXPECT_EQ(plan.tmpFolder, XString(u"t") + XPathSepText);
    EXPECT_TRUE(plan.batchLeader);
    EXPECT_EQ(plan.batchId, 0u);
    EXPECT_EQ(plan.quitEventName, u"q");
    EXPECT_TRUE(plan.writeIdTags);
    EXPECT_FALSE(plan.silent);

    TvRunPlan quiet;
    quiet.commandFileMode = 1;  // a command file implies silence
    ASSERT_EQ(Read(u"-infile=a -outfile=b -convert_to=c -noidtag -batchid=42 -fntousefortagloaddec=x.wav", quiet),
              TvPlanProblem::None);
    EXPECT_TRUE(quiet.silent);
    EXPECT_FALSE(quiet.writeIdTags);
    EXPECT_FALSE(quiet.stdinIsSource);
    EXPECT_EQ(quiet.batchId, 42u);
    EXPECT_EQ(quiet.tagLoadFile, u"x.wav");
    EXPECT_TRUE(quiet.tmpFolder.IsEmpty());
}
