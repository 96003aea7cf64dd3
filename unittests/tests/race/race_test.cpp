// Clients read whatever there is, at any moment of every running test. These threads take no part
// in the clock: nothing orders them but the locks, and the thread sanitizer sees each that is
// missing. scripts/races takes the locks out, one by one, and looks that these tests find it.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>

#include "host/variant.h"
#include "server/json.h"
#include "support/test_camera.h"

namespace test {
namespace {

// Threads that do something again and again until the end of their scope.
class Watchers {
 public:
  void Start(const std::function<void()>& watch) {
    mThreads.emplace_back([this, watch] {
      while (!mDone) watch();
    });
  }
  ~Watchers() {
    mDone = true;
    for (std::thread& thread : mThreads) thread.join();
  }
  Watchers() = default;
  Watchers(const Watchers&) = delete;
  Watchers& operator=(const Watchers&) = delete;

 private:
  std::atomic<bool> mDone{false};
  std::vector<std::thread> mThreads;
};

// Every result is one of the texts of eight characters, whenever it is read.
void ExpectWholeResults(const std::vector<client::TestItem>& items) {
  for (const client::TestItem& item : items) EXPECT_EQ(item.value.size(), 8U) << item.path;
}

class RaceTest : public ::testing::TestWithParam<std::string> {};

TEST_P(RaceTest, ReadsAtEveryMomentOfEveryTest) {
  TestCamera camera(GetParam());
  desk::Camera& desk = camera.Camera();
  const std::vector<client::TestItem> items = camera.Items();
  ASSERT_GT(items.size(), 2U);

  Watchers watchers;
  watchers.Start([&] {
    ExpectWholeResults(camera.Items());
    EXPECT_LE(std::stoul(camera.Get("test.errcnt")), items.size() + 4);  // the cooler's texts count
  });
  watchers.Start([&] { camera.Tree("."); });
  watchers.Start([&] {
    desk.Screen().Render(desk::CameraScreen::Display::Lcd);
    desk.Events().After(0, 64);
  });
  // Knobs that concern no test, and fields of the records.
  watchers.Start([&] {
    camera.Set(".desk.hidden", "nobody.there");
    camera.Set(".desk.lost", "nothing.txt");
    camera.Write("test.description.tester", "one of two");
    camera.Set(".desk.hidden", "");
    camera.Write("test.description.tester", "two");
  });

  for (const auto& [item, className, value] : items) {
    if (client::NeverEnds(className)) continue;
    // A few blocks of the video memory instead of a pass over all of it.
    const bool isLong = item.starts_with("test.items.VDDR");
    if (isLong) camera.Set(".desk.driver.fvd1.fail", "100,1");
    const Json reply = camera.Write(item, "run");
    EXPECT_EQ(reply["status"], isLong ? 1 : 0) << item << reply["value"];
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, RaceTest, ::testing::ValuesIn(desk::VariantNames()),
                         NameOfVariant);

}  // namespace
}  // namespace test
