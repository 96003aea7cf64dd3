// Records and the storage: a process that is killed while it writes, a storage that is full.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <fstream>
#include <iterator>
#include <mutex>
#include <set>
#include <thread>

#include "client/camera_client.h"
#include "client/log_lines.h"
#include "support/process.h"
#include "support/test_camera.h"

namespace test {
namespace {

using Kind = client::LogLine::Kind;

constexpr char kServes[] = "serving on http://127.0.0.1:";

std::size_t CountOf(Kind kind, const std::vector<client::LogLine>& lines) {
  return static_cast<std::size_t>(
      std::count_if(lines.begin(), lines.end(),
                    [kind](const client::LogLine& line) { return line.kind == kind; }));
}

// The records in the replies to clients, from whichever thread.
struct Replies {
  void WriteUntilItEnds(std::uint16_t port, const std::string& item) {
    try {
      client::CameraClient client(port);
      for (;; ++count, count.notify_all()) {
        const Json reply = client.Set(item, "run");
        const std::lock_guard guard(lock);
        for (const Json& record : reply["records"]) records.insert(record.get<std::string>());
      }
    } catch (const client::ConnectionError&) {  // the camera was killed
    }
  }

  std::mutex lock;
  std::multiset<std::string> records;
  std::atomic<unsigned> count{0};
};

// Between four writers there is always one in the middle of its record.
TEST(KilledCameraTest, LosesNoRecordThatAClientWasToldOf) {
  constexpr int kKills = 12;
  const TemporaryFolder folder;
  Replies replies;
  for (int kill = 0; kill < kKills; ++kill) {
    Process camera("diagor", {"-p", "0"},
                   {{"DIAGOR_ROOT", folder.Path().string()}, {"DIAGOR_CLOCK", "virtual"}});
    const std::uint16_t port = PortOf(camera.ErrorsUntil(kServes));
    // Long records take the system longer to write, and are torn more easily.
    if (kill % 2 == 1) {
      client::CameraClient client(port);
      for (const char* const field : {"tester", "env", "article", "serial", "category"}) {
        client.Set(std::string("test.description.") + field, std::string(60000, *field));
      }
    }
    std::vector<std::thread> writers;
    for (const char* const item : {"main", "goka", "fpa", "gota"}) {
      writers.emplace_back(&Replies::WriteUntilItEnds, &replies, port,
                           std::string("test.items.eeprom.") + item);
    }
    const unsigned wanted = replies.count + static_cast<unsigned>(3 + 5 * kill);
    for (unsigned now = replies.count; now < wanted; now = replies.count) replies.count.wait(now);
    camera.Signal(SIGKILL);
    EXPECT_EQ(camera.Wait(), -SIGKILL);
    for (std::thread& writer : writers) writer.join();
  }
  std::ifstream log(folder.Path() / "FlashFS/tmp/bitlog.txt", std::ios::binary);
  const auto lines = client::LogLines(std::string(std::istreambuf_iterator<char>(log), {}));
  std::multiset<std::string> whole;
  for (const client::LogLine& line : lines) {
    if (line.kind == Kind::Record) whole.insert(line.text);
  }
  EXPECT_GT(replies.records.size(), 100U);
  EXPECT_TRUE(
      std::includes(whole.begin(), whole.end(), replies.records.begin(), replies.records.end()));
  EXPECT_LE(CountOf(Kind::Fragment, lines), static_cast<std::size_t>(kKills));
}

// A camera in a storage of its own of 64 KiB, which a file system of that size is.
class SmallStorageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) mWords.emplace_back("--map-root-user");
    if (Start("true", "N")->Wait() != 0) GTEST_SKIP() << "no file system can be mounted here";
  }
  std::unique_ptr<Process> Start(const std::string& command, const std::string& variant) {
    const std::string root = mFolder.Path().string();
    std::vector<std::string> words = mWords;
    words.insert(words.end(),
                 {"sh", "-c", "mount -t tmpfs -o size=64k tmpfs " + root + " && exec " + command});
    return std::make_unique<Process>(
        "/usr/bin/unshare", words,
        std::map<std::string, std::string>{
            {"DIAGOR_ROOT", root}, {"DIAGOR_CLOCK", "virtual"}, {"DIAGOR_VARIANT", variant}});
  }

  const std::string mProgram = ProgramPath("diagor") + " -p 0";

 private:
  TemporaryFolder mFolder;
  std::vector<std::string> mWords = {"--mount"};
};

TEST_F(SmallStorageTest, TooSmallItIsRefusedWithTheReason) {
  const auto camera = Start(mProgram, "KY");  // its images alone take more
  EXPECT_NE(camera->Wait(), 0);
  EXPECT_TRUE(camera->Errors().ends_with(": No space left on device\n")) << camera->Errors();
}

TEST_F(SmallStorageTest, FullItKeepsTestsRunningAndRecordsResume) {
  constexpr char kItem[] = "test.items.battery";
  const auto camera = Start(mProgram, "N");
  client::CameraClient client(PortOf(camera->ErrorsUntil(kServes)));
  std::multiset<std::string> records;
  const auto run = [&] {
    const Json reply = client.Set(kItem, "run");
    EXPECT_EQ(reply["status"], 0);
    EXPECT_EQ(reply["value"], "OK      ");
    for (const Json& record : reply["records"]) records.insert(record.get<std::string>());
    return reply["records"].size();
  };
  client.Set("test.description.category", std::string(1000, 'c'));
  while (run() == 1) {
  }
  for (int i = 0; i < 10; ++i) EXPECT_EQ(run(), 0U);
  EXPECT_GT(records.size(), 30U);
  auto lines = client::LogLines(client.File("FlashFS/tmp/bitlog.txt"));
  EXPECT_EQ(CountOf(Kind::Record, lines), records.size());
  EXPECT_LE(CountOf(Kind::Fragment, lines), 1U);
  // The system log has no room either.
  client.Set("test.description.format", "XML");
  EXPECT_EQ(run(), 0U);
  client.Set("test.description.format", "TEXT");

  EXPECT_EQ(client.Set("test.clearLog", true)["status"], 0);
  records.clear();
  EXPECT_EQ(run(), 1U);
  lines = client::LogLines(client.File("FlashFS/tmp/bitlog.txt"));
  EXPECT_EQ(CountOf(Kind::Record, lines), 1U);
  EXPECT_EQ(CountOf(Kind::Fragment, lines), 0U);
  EXPECT_EQ(lines.back().text, *records.begin());
}

// Where nobody names a folder, the storage is in one that all users may have reached before.
TEST(DefaultStorageTest, IsThisUsersOwn) {
  const std::string temporary = "diagor-" + std::to_string(geteuid()) + "-N";
  struct Case {
    std::string before;  // commands; the folder "session" is the session's, all others temporary
    std::string place;
    bool isTaken;
  };
  std::vector<Case> cases = {
      {"mkdir -m 700 session", "session/diagor-N", true},
      {":", temporary, true},
      {"mkdir -m 777 session", temporary, true},
      {"mkdir -m 700 session; mkdir session/diagor-N", "session/diagor-N", true},
      {"mkdir -m 700 session; mkdir -m 777 session/diagor-N", "session/diagor-N", false},
      {"mkdir elsewhere; ln -s elsewhere " + temporary, temporary, false},
      {"ln -s /no/where " + temporary, temporary, false},
  };
  if (geteuid() == 0) {
    cases.push_back({"mkdir " + temporary + "; chown 65534 " + temporary, temporary, false});
  }
  for (const Case& each : cases) {
    const TemporaryFolder folder;
    const std::string place = folder.Path() / each.place;
    Process before("/bin/sh", {"-c", "cd " + folder.Path().string() + "; " + each.before});
    ASSERT_EQ(before.Wait(), 0) << before.Errors();
    Process camera("diagor", {"-p", "0"},
                   {{"DIAGOR_ROOT", ""},
                    {"DIAGOR_VARIANT", "N"},
                    {"XDG_RUNTIME_DIR", folder.Path() / "session"},
                    {"TMPDIR", folder.Path()}});
    const std::string errors = camera.ErrorsUntil("\n");
    const std::string start = each.isTaken
                                  ? "diagor: variant N, storage " + place + ", serving"
                                  : "diagor: the camera's storage: " + place + " is a link,";
    EXPECT_TRUE(errors.starts_with(start)) << each.before << ": " << errors;
  }
}

}  // namespace
}  // namespace test
