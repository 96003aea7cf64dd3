// Video memory tests: ranges, requests, the four failures, the loop.
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "drivers/video_memory.h"
#include "items/group_builder.h"
#include "support/test_camera.h"
#include "tarq/node_access.h"
#include "task/test_root.h"
#include "tests/device/video_ddr.h"

namespace test {
namespace {

constexpr char kItem[] = "test.items.VDDR.test";

// On a platform without ranges of its own, whose test is short.
class ShortRangeTest : public ::testing::Test {
 protected:
  ShortRangeTest() {
    EXPECT_EQ(BuildTestRoot(nullptr, 12), 0U);
    EXPECT_EQ(CreateVddrGroup(nullptr, 12), 0U);
  }
  BareCamera mCamera{"KY"};
};

TEST_F(ShortRangeTest, WritesAndReadsEveryBlockInOrder) {
  const Json reply = mCamera.Write(kItem, "run");
  EXPECT_EQ(reply["value"], "OK      ");
  EXPECT_EQ(mCamera.Get(".desk.video.first"), "0x0");
  EXPECT_EQ(mCamera.Get(".desk.video.last"), "0x2F400");
  EXPECT_EQ(mCamera.Get(".desk.video.blocks"), "190");
  const std::vector<std::string> steps = TraceLines(reply);
  ASSERT_EQ(steps.size(), 381U);
  EXPECT_EQ(steps[0], "0 ioctl FVD1: 0x80000014 0000010004000000000000000000000000100000  true");
  EXPECT_EQ(steps[1], "0 ioctl FVD1: 0x80000018 0000010004000000000000000000000000100000  true");
  EXPECT_EQ(steps[2], "0 ioctl FVD1: 0x80000014 0000010004000000000000000004000000100000  true");
  EXPECT_EQ(steps[379], "0 ioctl FVD1: 0x80000018 00000100040000000000000000f4020000100000  true");
  EXPECT_TRUE(steps[380].starts_with("0 file "));
}

// The words are the library's own sequence from its start: nobody seeds it.
TEST_F(ShortRangeTest, FirstBadWordEndsTheTest) {
  srand(1);
  std::vector<DWORD> words(1024);
  for (DWORD& word : words) word = static_cast<DWORD>(rand());
  const DWORD expected = words[5];
  const DWORD got = expected ^ 8;
  char message[120];
  snprintf(message, sizeof message, "Verify error in SDRAM  at 0x0,0x5, got:0x%x, expected 0x%x",
           got, expected);
  srand(1);
  mCamera.Set(".desk.video.cell", "0x0 5 3 flips");
  EXPECT_EQ(mCamera.Run(kItem), (Result{1, "E 0114  ", message}));
  EXPECT_EQ(mCamera.Get(".desk.video.blocks"), "1");
}

TEST_F(ShortRangeTest, StuckCellsShowOnceAWordSaysOtherwise) {
  for (const char* const fault : {"stuck0", "stuck1"}) {
    mCamera.Set(".desk.video.cell", std::string("0x1000 0 0 ") + fault);
    const Result result = mCamera.Run(kItem);
    EXPECT_EQ(result.value, "E 0114  ") << fault;
    EXPECT_TRUE(result.message.starts_with("Verify error in SDRAM  at 0x")) << result.message;
  }
  mCamera.Set(".desk.video.cell", "0x2F800 4000 0 stuck1");  // behind the range
  EXPECT_EQ(mCamera.Run(kItem).value, "OK      ");
  for (const char* const text : {"0x0 1 32 flips", "0x0 1 3", "0x0 1 3 melts", "x 1 3 flips"}) {
    EXPECT_NE(mCamera.Camera().Write(".desk.video.cell", TARQ::CResourceValue(text)), 0U) << text;
  }
}

TEST_F(ShortRangeTest, FailedRequestsNameTheBlock) {
  mCamera.Set(".desk.driver.fvd1.fail", "4,1");
  EXPECT_EQ(mCamera.Run(kItem),
            (Result{1, "E 0113  ", "Couldn't write to SDRAM at 0x800 (error: 0x1)"}));
  mCamera.Set(".desk.driver.fvd1.fail", "5,1");
  EXPECT_EQ(mCamera.Run(kItem),
            (Result{1, "E 0112  ", "Couldn't write to SDRAM at 0x800 (error: 0x0)"}));
}

// Two passes at the same moment, outside the clock's order: neither meets the other's words.
TEST_F(ShortRangeTest, PassesTakeTurns) {
  auto& root = TARQ::NodeAccess::Root(mCamera.Camera().TaskTree());
  const auto pass = [&root] {
    auto* const item = TARQ::NodeAccess::Find(root, kItem);
    for (int i = 0; i < 10; ++i) {
      EXPECT_EQ(TARQ::NodeAccess::Write(*item, TARQ::CResourceValue("run")), 0U);
    }
  };
  std::thread other(pass);
  pass();
  other.join();
}

TEST(VideoMemoryTest, MissingDriverIsReportedAtOnce) {
  TestCamera camera("H", ".desk.driver.fvd1.present=false");
  EXPECT_EQ(camera.Run(kItem), (Result{1, "E 0110  ", " Failed to init test(1)"}));
  EXPECT_EQ(camera.Tree("test.items.VDDR.looptest")["class"], "CResBitLoopVDDR");
}

struct RangeCase {
  const char* variant;
  const char* first;
  const char* last;
  const char* blocks;
};
// Blocks: of each range its length over 0x400, rounded up.
const RangeCase kRanges[] = {
    {"H", "0x2A9800", "0x7A11800", "122273"},  {"M7", "0x420800", "0xFA11800", "241540"},
    {"KY", "0x420000", "0xBD08800", "170073"}, {"R7", "0x16F000", "0xFA11800", "234242"},
    {"R8", "0x16F000", "0xFA11800", "234242"}, {"LQ", "0x16F000", "0xFA11800", "234242"},
};

class FullRangeTest : public ::testing::TestWithParam<RangeCase> {};

// The cell that the knob's own table breaks.
TEST_P(FullRangeTest, HasTheBadCellOfTheFaultTableInside) {
  TestCamera camera(GetParam().variant);
  camera.Set(".desk.video.cell", "0x440000 5 3 flips");
  EXPECT_EQ(camera.Run(kItem).value, "E 0114  ");
}

// Whole passes cost seconds in builds that watch every access.
#if defined(NDEBUG)
TEST_P(FullRangeTest, CoversThePlatformsRanges) {
  TestCamera camera(GetParam().variant);
  EXPECT_EQ(camera.Run(kItem), (Result{0, "OK      ", "Video DDR OK"}));
  EXPECT_EQ(camera.Get(".desk.video.first"), GetParam().first);
  EXPECT_EQ(camera.Get(".desk.video.last"), GetParam().last);
  EXPECT_EQ(camera.Get(".desk.video.blocks"), GetParam().blocks);
}
#else
// The beginning of each range instead: a cell in its first block ends the pass there.
TEST_P(FullRangeTest, BeginsAtThePlatformsFirstBlock) {
  TestCamera camera(GetParam().variant);
  camera.Set(".desk.video.cell", std::string(GetParam().first) + " 1023 31 stuck1");
  const Result result = camera.Run(kItem);
  EXPECT_EQ(result.value, "E 0114  ");  // rand's words have no bit 31
  EXPECT_EQ(camera.Get(".desk.video.first"), GetParam().first);
  EXPECT_EQ(camera.Get(".desk.video.blocks"), "1");
}
#endif

INSTANTIATE_TEST_SUITE_P(Variants, FullRangeTest, ::testing::ValuesIn(kRanges),
                         [](const auto& each) { return std::string(each.param.variant); });

TEST(VideoMemoryStoreTest, StoresAcrossItsPagesAndReadsZeroElsewhere) {
  desk::VideoMemory memory;
  std::vector<std::uint8_t> bytes(100000);
  EXPECT_TRUE(memory.Read(0xFFFF0000, {bytes.data(), 0x10000}));
  EXPECT_EQ(bytes[0], 0);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 7);
  EXPECT_TRUE(memory.Write(0xFFFF, bytes));
  std::vector<std::uint8_t> read(bytes.size());
  EXPECT_TRUE(memory.Read(0xFFFF, read));
  EXPECT_EQ(read, bytes);
  EXPECT_FALSE(memory.Write(0xFFFFFFFF, {bytes.data(), 2}));
  EXPECT_FALSE(memory.Read(0xFFFF0000, read));
  memory.Restore();
  EXPECT_TRUE(memory.Read(0xFFFF, read));
  EXPECT_EQ(read, std::vector<std::uint8_t>(bytes.size()));
}

TEST(VirtualMemoryTest, CommitsZeroedMemoryWithinItsRegion) {
  BareCamera camera;
  for (int round = 0; round < 3; ++round) {  // reused regions too
    auto* const base =
        static_cast<BYTE*>(VirtualAlloc(nullptr, 0x200000, MEM_RESERVE, PAGE_NOACCESS));
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(VirtualAlloc(base, 0x200001, MEM_COMMIT, PAGE_READWRITE), nullptr);
    ASSERT_EQ(VirtualAlloc(base, 5000, MEM_COMMIT, PAGE_READWRITE), base);
    EXPECT_EQ(std::count(base, base + 8192, 0), 8192);
    memset(base, 0xAA, 8192);
    EXPECT_EQ(VirtualFree(base, 5000, MEM_RELEASE), FALSE);
    EXPECT_EQ(VirtualFree(base, 0, MEM_RELEASE), TRUE);
    EXPECT_EQ(VirtualFree(base, 0, MEM_RELEASE), FALSE);
    EXPECT_EQ(VirtualAlloc(base, 4096, MEM_COMMIT, PAGE_READWRITE), nullptr);
  }
}

}  // namespace
}  // namespace test
