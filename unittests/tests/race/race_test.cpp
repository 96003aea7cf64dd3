// Clients read whatever there is, at any moment of every running test. These threads take no part
// in the clock: nothing orders them but the locks, and the thread sanitizer sees each that is
// missing. scripts/races takes the locks out, one by one, and looks that these tests find it.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>

#include "camera/variant.h"
#include "server/json.h"
#include "support/test_camera.h"
#include "tarq/node_access.h"

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

 private:
  std::atomic<bool> mDone{false};
  std::vector<std::thread> mThreads;
};

class RaceTest : public ::testing::TestWithParam<std::string> {};

TEST_P(RaceTest, ReadsAtEveryMomentOfEveryTest) {
  TestCamera camera(GetParam());
  desk::Camera& desk = camera.Camera();
  const std::vector<client::TestItem> items = camera.Items();
  ASSERT_GT(items.size(), 2U);

  Watchers watchers;
  watchers.Start([&] {
    // Every result is one of the texts of eight characters, whenever it is read.
    for (const auto& item : camera.Items()) EXPECT_EQ(item.value.size(), 8U) << item.path;
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

// A reset that comes while the record is being put together.
class ResetsMeanwhile : public TARQ::AccessRules {
 public:
  explicit ResetsMeanwhile(TARQ::CServerResource& item) : mItem(item) {}
  ~ResetsMeanwhile() override {
    if (mReset.joinable()) mReset.join();
  }

  bool MayOpen(const std::string& /*path*/) const override { return true; }
  bool MayWrite(const std::string& /*path*/) const override { return true; }
  bool MayRead(const std::string& path) const override {
    if (path != "test.description.category") return true;
    mReset =
        std::thread([this] { TARQ::NodeAccess::Write(mItem, TARQ::CResourceValue("Untested")); });
    // It gets time enough for what it must not do.
    for (int looks = 0; looks < 10000; ++looks) {
      const CText stored = TARQ::NodeAccess::Stored(mItem).GetAscii();
      if (std::string_view(stored.AsChar()) == "Untested") break;
      std::this_thread::yield();
    }
    return true;
  }

 private:
  TARQ::CServerResource& mItem;
  mutable std::thread mReset;
};

TEST(TwoClientsTest, ARecordCarriesItsVerdictBesideAReset) {
  TestCamera camera("KY");
  TARQ::CResourceTree& tree = camera.Camera().TaskTree();
  constexpr char kItem[] = "test.items.battery.battery";
  {
    ResetsMeanwhile rules(*TARQ::NodeAccess::Find(TARQ::NodeAccess::Root(tree), kItem));
    TARQ::NodeAccess::SetRules(tree, &rules);
    EXPECT_TRUE(camera.Run(kItem).message.starts_with("Fuel Gauge detected"));
    TARQ::NodeAccess::SetRules(tree, nullptr);
  }
  EXPECT_NE(camera.LogLines().back().find(";Battery      ;OK      ;"), std::string::npos);
  EXPECT_EQ(camera.Get(kItem), "Untested");
}

// Whenever it is looked at, the log begins with its header, as far as that is written.
TEST(TwoClientsTest, TheLogBeginsWithItsHeaderBesideWriters) {
  TestCamera camera("KY");
  TARQ::CServerResource& root = TARQ::NodeAccess::Root(camera.Camera().TaskTree());
  const auto write = [&root](const char* path, const TARQ::CResourceValue& value) {
    TARQ::NodeAccess::Write(*TARQ::NodeAccess::Find(root, path), value);
  };
  Watchers writers;
  for (const char* const item : {"test.items.eeprom.main", "test.items.battery.battery"}) {
    writers.Start([item, &write] { write(item, TARQ::CResourceValue("run")); });
  }
  const std::string begins = "\n\n########";
  for (int i = 0; i < 500; ++i) {
    write("test.clearLog", TARQ::CResourceValue(true));
    const std::string log = camera.Contents("/FlashFS/tmp/bitlog.txt");
    ASSERT_EQ(log.substr(0, begins.size()), begins.substr(0, log.size())) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, RaceTest, ::testing::ValuesIn(desk::VariantNames()),
                         NameOfVariant);

}  // namespace
}  // namespace test
