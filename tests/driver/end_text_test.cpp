// Texts of the end steps that depend on the last error.
#include <gtest/gtest.h>

#include "driver/travex.h"
#include "foundation/platform/last_error.h"

TEST(EndTexts, OverwriteErrorNamesTheLastErrorOnlyWhenThereIsOne) {
    XSetLastError(0);
    EXPECT_EQ(TvOverwriteErrorText(u"out.mp3"), u"Error overwriting file  'out.mp3'");
    XSetLastError(XErr::AccessDenied);
    EXPECT_EQ(TvOverwriteErrorText(u"out.mp3"), u"Error overwriting file (Win:5) 'out.mp3'");
}
