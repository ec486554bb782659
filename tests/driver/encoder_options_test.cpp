#include <gtest/gtest.h>

#include "driver/travex.h"

TEST(EncoderOptions, CoreOptionsStayWithTheCore) {
    XOptionList options(
        XString(u"-INFILE=a -outfile=b -convert_to=mp3 -Silent -b=320 -dspeffect1=A=1 "
                u"-dspeffect3=C=3 -sourceisfloat -help -cli_cmd=\"x y\" -DecoderSet=k -tag=t "
                u"-DSPPRESET=p -batchid=auto -V"));
    EXPECT_EQ(TvEncoderOptions(options, 1),
              u" -b=\"320\" -dspeffect3=\"C=3\" -sourceisfloat -help -cli_cmd=\"x y\" -V");
    EXPECT_EQ(TvEncoderOptions(options, 3), u" -b=\"320\" -sourceisfloat -help -cli_cmd=\"x y\" -V");
    EXPECT_EQ(TvEncoderOptions(options, 0),
              u" -b=\"320\" -dspeffect1=\"A=1\" -dspeffect3=\"C=3\" -sourceisfloat -help "
              u"-cli_cmd=\"x y\" -V");
    EXPECT_TRUE(TvEncoderOptions(XOptionList(XString(u"-infile=a")), 0).IsEmpty());
}
