#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "foundation/files/temp_dir.h"
#include "foundation/files/xbuffer.h"
#include "foundation/files/xmapped_file.h"
#include "foundation/files/xpipe.h"
#include "foundation/platform/last_error.h"

#if defined(__SANITIZE_ADDRESS__)
// A refused allocation must come back as null here, as it does without the sanitizer.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
#endif

namespace {

TEST(XBuffer, ResizeKeepsClampsAndGrows) {
    XBuffer b;
    ASSERT_TRUE(b.Resize(10, false, true, 5));
    EXPECT_EQ(b.Size(), 15u);  // the slack is part of the size
    EXPECT_EQ(b.Capacity(), 15u);
    uint8_t* block = b.Data();
    EXPECT_TRUE(b.Resize(12));
    EXPECT_EQ(b.Data(), block);  // fits: nothing moves
    EXPECT_TRUE(b.Resize(12, true, false, 0, true));
    EXPECT_NE(b.Capacity(), 15u);  // exact: a smaller size reallocates

    ASSERT_TRUE(b.Assign("abcdef", 6));
    EXPECT_EQ(b.Fill(), 6u);
    EXPECT_TRUE(b.Resize(3));
    EXPECT_EQ(b.Fill(), 3u);
    EXPECT_TRUE(b.Put(-1, "xy", 2));
    EXPECT_EQ(memcmp(b.Data(), "abcxy", 5), 0);

    XBuffer other;
    other.Assign("abcxy", 5);
    EXPECT_TRUE(b.Equal(other));
    XBuffer taken;
    taken.Take(other);
    EXPECT_EQ(other.Data(), nullptr);
    EXPECT_EQ(taken.Fill(), 5u);
    EXPECT_FALSE(XBuffer().Resize(UINT64_MAX / 2));  // no exception, just false
}

TEST(XBuffer, MemoryFile) {
    XBuffer b;
    EXPECT_EQ(b.Write("hello", 5), 5u);
    EXPECT_GE(b.Size(), 5u + 3u);  // slack of two thirds
    EXPECT_TRUE(b.Seek(3, 1));     // past the fill: zeros, and the fill follows
    EXPECT_EQ(b.Fill(), 8u);
    EXPECT_EQ(memcmp(b.Data(), "hello\0\0\0", 8), 0);
    EXPECT_TRUE(b.Seek(-100, 2));
    EXPECT_EQ(b.Position(), 0u);
    char out[16] = {};
    EXPECT_EQ(b.Read(out, 16, 0), 8u);
    EXPECT_EQ(b.Read(out, 16, 2), 0u);
    EXPECT_EQ(b.Write("!", 1, 1), 1u);
    EXPECT_EQ(b.Fill(), 9u);
    EXPECT_TRUE(b.SetFill(2));
    EXPECT_EQ(b.Read(out, 16, 0), 2u);

    XBuffer s;
    s.Assign("012345", 6);
    EXPECT_TRUE(s.ShiftTail(2, 3, true));
    EXPECT_EQ(s.Fill(), 9u);
    EXPECT_EQ(memcmp(s.Data(),
                     "01\0\0\0"
                     "2345",
                     9),
              0);
    EXPECT_TRUE(s.ShiftTail(5, -3, false));
    EXPECT_EQ(s.Fill(), 6u);
    EXPECT_EQ(memcmp(s.Data(), "012345", 6), 0);
}

TEST(XPipe, AvailableLinesAndHandOver) {
    XPipe pipe;
    ASSERT_TRUE(pipe.Create(false));
    bool error = true;
    EXPECT_EQ(pipe.Available(&error), 0u);
    EXPECT_FALSE(error);
    XStringList lines;
    EXPECT_FALSE(pipe.ReadAvailableLines(lines));
    const char16_t text[] = u"first\r\nsecond\r\n";
    ASSERT_TRUE(pipe.Write(text, sizeof(text) - 2));
    EXPECT_EQ(pipe.Available(), sizeof(text) - 2);
    ASSERT_TRUE(pipe.ReadAvailableLines(lines));
    ASSERT_GE(lines.Count(), 2);
    EXPECT_EQ(std::u16string(lines[0].View()), u"first");
    EXPECT_EQ(std::u16string(lines[1].View()), u"second");
    EXPECT_EQ(pipe.Input().Fill(), 0u);

    // A writer on another thread, a reader here.
    std::thread writer([&] {
        for (int i = 0; i < 100; ++i) pipe.Write("0123456789", 10);
    });
    size_t total = 0;
    char buffer[64];
    while (total < 1000) total += pipe.Read(buffer, sizeof buffer);
    writer.join();
    EXPECT_EQ(total, 1000u);

    XFileHandle write = pipe.DetachWrite();
    EXPECT_NE(write, XInvalidHandle);
    EXPECT_EQ(pipe.WriteHandle(), XInvalidHandle);
    EXPECT_EQ(pipe.DetachWrite(), XInvalidHandle);
    XFile end;
    ASSERT_TRUE(end.OpenDuplicate(write));
    XFile(write).Write("z", 1);
    XSysCloseHandle(write);
    EXPECT_EQ(pipe.Read(buffer, 1), 1u);
    end.Close();
    // Every writer gone: the read fails with a broken pipe, as on Windows.
    EXPECT_EQ(pipe.Read(buffer, 1, &error), 0u);
    EXPECT_TRUE(error);
    EXPECT_EQ(XGetLastError(), XErr::BrokenPipe);
}

TEST(XMappedFile, MapsWholeAndEmptyFiles) {
    TestDir dir;
    dir.Put("m", "mapped bytes");
    dir.Put("e", "");
    XMappedFile m;
    ASSERT_TRUE(m.Open(dir.X("m")));
    ASSERT_EQ(m.Length(), 12u);
    EXPECT_EQ(memcmp(m.View(), "mapped bytes", 12), 0);
    ASSERT_TRUE(m.Open(dir.X("e")));
    EXPECT_EQ(m.View(), nullptr);
    EXPECT_EQ(m.Length(), 0u);
    EXPECT_FALSE(m.Open(dir.X("none")));
    EXPECT_FALSE(m.IsOpen());
}

}  // namespace
