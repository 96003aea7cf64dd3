// The program as a process: command line, environment, signals, whole runs of every camera.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "client/camera_client.h"
#include "host/variant.h"
#include "support/process.h"
#include "support/test_camera.h"

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr char kServes[] = "serving on http://127.0.0.1:";

std::string FileText(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

class ProgramTest : public ::testing::Test {
 protected:
  using Environment = std::map<std::string, std::string>;

  fs::path Root() const { return mFolder.Path() / "root"; }
  std::unique_ptr<Process> Start(const std::vector<std::string>& arguments,
                                 Environment environment = {}) {
    environment.emplace("DIAGOR_ROOT", Root().string());
    environment.emplace("DIAGOR_CLOCK", "virtual");
    return std::make_unique<Process>("diagor", arguments, environment);
  }
  // Starts it with a port of its own and waits until it serves.
  std::unique_ptr<Process> Serve(const std::string& variant, Environment environment = {}) {
    environment.emplace("DIAGOR_VARIANT", variant);
    auto process = Start({"-p", "0"}, environment);
    mPort = PortOf(process->ErrorsUntil(kServes));
    return process;
  }

  TemporaryFolder mFolder;
  std::uint16_t mPort = 0;
};

TEST_F(ProgramTest, UsageMakesNoRootWhateverStandsBefore) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"-h"}, {"-n", "cam", "-h"}, {"-q", "-h", "-a", "x"}}) {
    const auto process = Start(words);
    EXPECT_EQ(process->Wait(), 0);
    EXPECT_EQ(process->Output(),
              "usage: Diagor [-n <name>] [-p <port>] [-a <addr>] [-s <port>]\n"
              "       -n   local name (default bit)\n"
              "       -p   local port (default 0x567F)\n"
              "       -a   server addr (default 127.0.0.1)\n"
              "       -s   server port (default 0x5678)\n");
    EXPECT_FALSE(fs::exists(Root()));
  }
}

TEST_F(ProgramTest, AnotherServerIsRefusedInWords) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"-a", "10.0.0.1"}, {"-s", "0x5678"}}) {
    const auto process = Start(words);
    EXPECT_NE(process->Wait(), 0);
    EXPECT_EQ(process->Output(), "bit: CSupervisor::Init returned 0xa0020006\n");
    EXPECT_NE(process->Errors().find("serves its own tree"), std::string::npos);
  }
}

// Every port here names one that is taken: how a number was read shows in the complaint.
TEST_F(ProgramTest, PortNumbersReadAsTheirRuleSays) {
  struct Case {
    const char* argument;
    const char* port;
  };
  const Case cases[] = {
      {"0xD431", "54321"},   {"54321", "54321"}, {"-11215", "54321"},  // 16 bits
      {"119857", "54321"},  // of a longer number the low ones
      {"54321abc", "54321"},
  };
  BareCamera blocker;
  const auto taken = Serve("V", {});
  for (const Case& each : cases) {
    const auto process = Start({"-p", each.argument});
    const std::string errors = process->ErrorsUntil("\n");
    EXPECT_NE(errors.find(each.port), std::string::npos) << each.argument << ": " << errors;
    process->Signal(SIGTERM);
    process->Wait();
  }
  // A capital X is decimal: 0, any free port. What does not read leaves the port as it was.
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"-p", "0X10"}, {"-p", "0", "-p", "x"}, {"-p", "0", "-p", "0xg"}}) {
    const auto process = Start(words);
    EXPECT_GT(PortOf(process->ErrorsUntil(kServes)), 1023);
    process->Signal(SIGTERM);
    EXPECT_EQ(process->Wait(), 0);
  }
}

TEST_F(ProgramTest, PortInUseIsNamed) {
  const auto first = Serve("V");
  const auto second = Start({"-p", std::to_string(mPort)});
  EXPECT_NE(second->Wait(), 0);
  EXPECT_EQ(second->Output(), "bit: CSupervisor::Init returned 0xa0020008\n");
  EXPECT_NE(second->Errors().find("port " + std::to_string(mPort)), std::string::npos);
}

TEST_F(ProgramTest, UnknownPlatformSaysWhyAndExits) {
  for (const char* const bsp : {"-", "XX", "LONG"}) {
    const auto process =
        Start({"-p", "0"}, {{"DIAGOR_KNOBS", std::string(".desk.registry.bsp=") + bsp}});
    EXPECT_EQ(process->Wait(), 1);  // the low byte of 0x64070001
    EXPECT_EQ(process->Output(), "bit: CSupervisor::Init returned 0x64070001\n");
    EXPECT_NE(process->Errors().find("unknown camera platform: the registry value Ident\\BSP"),
              std::string::npos);
  }
}

TEST_F(ProgramTest, WrongEnvironmentIsNamedAndNothingIsMade) {
  const std::map<std::string, std::string> cases[] = {
      {{"DIAGOR_VARIANT", "Z9"}},           {{"DIAGOR_CLOCK", "fast"}},
      {{"DIAGOR_KNOBS", ".desk.nobody=1"}}, {{"DIAGOR_KNOBS", ".desk.rtc.rate=quick"}},
      {{"DIAGOR_KNOBS", "nonsense"}},
  };
  for (const auto& environment : cases) {
    const auto process = Start({"-p", "0"}, environment);
    EXPECT_EQ(process->Wait(), 2);
    EXPECT_EQ(process->Output(), "");
    EXPECT_NE(process->Errors().find("diagor: "), std::string::npos);
    EXPECT_FALSE(fs::exists(Root()));
  }
  // A storage that cannot be.
  const auto process = Start({"-p", "0"}, {{"DIAGOR_ROOT", "/dev/null"}});
  EXPECT_NE(process->Wait(), 0);
  EXPECT_NE(process->Errors().find("storage: /dev/null is no folder"), std::string::npos);
}

TEST_F(ProgramTest, VariantFileWithAMistakeIsNamedByFileLineAndKey) {
  const fs::path file = mFolder.Path() / "mine.toml";
  struct Case {
    const char* text;
    const char* complaint;
  };
  const Case cases[] = {
      {"name = \"X\"\n", "mine.toml:1: the key bsp is missing"},
      {"name = \"X\"\nbsp = 7\n", "mine.toml:2: the key bsp has a wrong type"},
      {"name = \"X\"\nbsp = \"KY\"\n\ncolour = 1\n", "mine.toml:4: unknown key colour"},
      {"name = \"X\"\nbsp = \n", "mine.toml:2: "},
      {"name = \"X\"\nbsp = \"KY\"\ndrivers = [\"i2c9\"]\n", "there is no driver i2c9"},
      {"name = \"X\"\nbsp = \"KY\"\nchip = [\n{ bus = \"i2c1\", address = 0xAF, kind = \"eeprom\" "
       "}]\n",
       "mine.toml:4: address is no even number"},
  };
  for (const Case& each : cases) {
    std::ofstream(file) << each.text;
    const auto process = Start({"-p", "0"}, {{"DIAGOR_VARIANT", file.string()}});
    EXPECT_EQ(process->Wait(), 2);
    EXPECT_NE(process->Errors().find(each.complaint), std::string::npos) << process->Errors();
  }
}

TEST_F(ProgramTest, ExistingStorageIsLeftAsItIs) {
  fs::create_directories(Root() / "FlashFS/tmp");
  std::ofstream(Root() / "FlashFS/tmp/bitlog.txt") << "kept\n";
  const auto process = Serve("KY");
  process->Signal(SIGINT);
  EXPECT_EQ(process->Wait(), 0);
  EXPECT_EQ(process->Output(), "");
  EXPECT_EQ(FileText(Root() / "FlashFS/tmp/bitlog.txt"), "kept\n");
  EXPECT_FALSE(fs::exists(Root() / "FlashFS/system"));
}

// The clock test takes five seconds of real time; the process does not wait for it.
TEST_F(ProgramTest, EndsWhileATestRuns) {
  const auto process = Serve("KY", {{"DIAGOR_CLOCK", "real"}});
  std::thread client([port = mPort] {
    client::CameraClient camera(port);
    for (bool refused = true; refused;) {  // by a write of the watcher's that comes in between
      refused = false;
      try {
        ADD_FAILURE() << camera.Set("test.items.clock.clock", "run");
      } catch (const client::RefusedError&) {
        refused = true;
      } catch (const client::ConnectionError&) {  // as it is to be: the process has ended
      }
    }
  });
  client::CameraClient watcher(mPort);
  // Busy as soon as the first write is being delivered.
  for (bool busy = false; !busy;) {
    try {
      watcher.Set("test.items.clock.clock", "Untested");
    } catch (const client::RefusedError& error) {
      busy = error.status == 409;
    }
  }
  EXPECT_EQ(watcher.Get("test.errcnt")["value"], 0);  // reads get through
  process->Signal(SIGTERM);
  EXPECT_EQ(process->Wait(), 0);
  client.join();
  EXPECT_EQ(FileText(Root() / "FlashFS/tmp/bitlog.txt").find("Clock OK"), std::string::npos);
}

// It goes on for ever on its own thread; all others are served meanwhile, and the process ends.
TEST_F(ProgramTest, LoopTestBlocksNeitherClientsNorTheEnd) {
  for (const char* const clock : {"real", "virtual"}) {
    const auto process = Serve(
        "KY", {{"DIAGOR_CLOCK", clock}, {"DIAGOR_KNOBS", ".desk.video.cell=0x420000 0 31 stuck1"}});
    std::thread client([port = mPort] {
      client::CameraClient camera(port);
      EXPECT_THROW(camera.Set("test.items.VDDR.looptest", "run"), client::ConnectionError);
    });
    client::CameraClient other(mPort);
    while (other.Get("test.items.VDDR.looptest")["value"] != "E 0114  ") {
    }
    EXPECT_EQ(other.Set("test.items.eeprom.main", "run")["value"], "OK      ");
    EXPECT_EQ(other.Set("test.items.VDDR.test", "run")["value"], "E 0114  ");
    process->Signal(SIGTERM);
    EXPECT_EQ(process->Wait(), 0) << process->Errors();
    client.join();
    EXPECT_NE(FileText(Root() / "FlashFS/tmp/bitlog.txt").find(";LoopVDDR     ;E 0114  ;"),
              std::string::npos);
    fs::remove_all(Root());
  }
}

// Whole passes over the video memory cost too much where every access is watched; it has tests of
// its own for these builds.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr char kRunGlob[] = "test.items.[!V]*";
#else
constexpr char kRunGlob[] = "*";
#endif

class WholeRunTest : public ::testing::TestWithParam<std::string> {};

TEST_P(WholeRunTest, EveryItemPassesAndTheLogIsTheSameTwice) {
  std::string logs[2];
  for (std::string& log : logs) {
    const TemporaryFolder folder;
    Process camera("diagor", {"-p", "0"},
                   {{"DIAGOR_ROOT", folder.Path().string()},
                    {"DIAGOR_CLOCK", "virtual"},
                    {"DIAGOR_VARIANT", GetParam()}});
    const std::string port = std::to_string(PortOf(camera.ErrorsUntil(kServes)));
    Process run("diagorctl", {"--port", port, "--json", "--quiet", "run", kRunGlob});
    EXPECT_EQ(run.Wait(), 0) << run.Output();
    const Json results = Json::parse(run.Output());
    EXPECT_EQ(results["failed"], 0);
    EXPECT_GT(results["passed"], 0);
    camera.Signal(SIGTERM);
    EXPECT_EQ(camera.Wait(), 0) << camera.Errors();
    log = FileText(folder.Path() / "FlashFS/tmp/bitlog.txt");
    const auto lines = static_cast<std::size_t>(std::count(log.begin(), log.end(), '\n'));
    EXPECT_EQ(lines, 10 + results["passed"].get<std::size_t>());
  }
  EXPECT_EQ(logs[0], logs[1]);
}

INSTANTIATE_TEST_SUITE_P(Variants, WholeRunTest, ::testing::ValuesIn(desk::VariantNames()),
                         [](const auto& each) {
                           std::string name = each.param;
                           std::erase(name, '-');
                           return name;
                         });

}  // namespace
}  // namespace test
