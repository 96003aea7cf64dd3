// The program as a process: command line, environment, signals, whole runs of every camera.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "camera/variant.h"
#include "client/camera_client.h"
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
  for (const std::vector<std::string>& words : {std::vector<std::string>{"-h"},
                                                {"-n", "cam", "-h"},
                                                {"-q", "-h", "-a", "x"},
                                                {"-p", "x", "-h"}}) {
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

// The exit code is the low byte of the framework's status, or 2 where it was not asked.
TEST_F(ProgramTest, WhatCannotStartSaysWhyAndMakesNothing) {
  const auto first = Serve("V");
  const std::string taken = std::to_string(mPort);
  const auto bsp = [](const std::string& code) {
    return Environment{{"DIAGOR_KNOBS", ".desk.registry.bsp=" + code}};
  };
  constexpr std::uint32_t kUnknown = 0x64070001;
  constexpr char kPlatform[] = "unknown camera platform: the registry value Ident\\BSP";
  struct Case {
    std::vector<std::string> words;
    Environment environment;
    std::uint32_t status;  // 0: the framework was not asked
    std::string complaint;
  };
  const Case cases[] = {
      {{"-a", "10.0.0.1"}, {}, 0xa0020006, "serves its own tree"},
      {{"-s", "0x5678"}, {}, 0xa0020006, "serves its own tree"},
      {{"-p", taken}, {}, 0xa0020008, "port " + taken},
      {{}, bsp("-"), kUnknown, kPlatform},
      {{}, bsp("XX"), kUnknown, kPlatform},
      {{}, bsp("LONG"), kUnknown, kPlatform},
      {{"-p", "65536"}, {}, 0, "diagor: -p "},
      {{"-p", "119857"}, {}, 0, "diagor: -p "},
      {{"-p", "-1"}, {}, 0, "diagor: -p "},
      {{"-p", "0", "-p", "0x1D431"}, {}, 0, "diagor: -p "},
      {{}, {{"DIAGOR_VARIANT", "Z9"}}, 0, "diagor: "},
      {{},
       {{"DIAGOR_VARIANT", "/nowhere/x.toml"}},
       0,
       "there is no variant file /nowhere/x.toml\n"},
      {{}, {{"DIAGOR_CLOCK", "fast"}}, 0, "diagor: "},
      {{}, {{"DIAGOR_START", "2013-02-29T12:00:00"}}, 0, "DIAGOR_START is "},
      {{}, {{"DIAGOR_START", "2013-08-29"}}, 0, "DIAGOR_START is "},
      {{}, {{"DIAGOR_START", "2013-08-29T12:00:00"}, {"DIAGOR_CLOCK", "real"}}, 0, "DIAGOR_START"},
      {{}, {{"DIAGOR_KNOBS", ".desk.nobody=1"}}, 0, "diagor: "},
      {{}, {{"DIAGOR_KNOBS", ".desk.rtc.rate=quick"}}, 0, "diagor: "},
      {{}, {{"DIAGOR_KNOBS", "nonsense"}}, 0, "diagor: "},
      {{}, {{"DIAGOR_SCREEN", "window"}, {"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}}, 0, "diagor: "},
      {{},
       {{"DIAGOR_SCREEN", "window"}, {"SDL_VIDEODRIVER", "x11"}, {"DISPLAY", ":4711"}},
       0,
       "DIAGOR_SCREEN=window: "},
  };
  for (Case each : cases) {
    const TemporaryFolder folder;
    each.environment.emplace("DIAGOR_ROOT", folder.Path() / "root");
    if (each.words.empty()) each.words = {"-p", "0"};
    const auto process = Start(each.words, each.environment);
    EXPECT_EQ(process->Wait(), each.status == 0 ? 2 : each.status & 0xFFU);
    std::ostringstream output;
    if (each.status != 0)
      output << "bit: CSupervisor::Init returned 0x" << std::hex << each.status << "\n";
    EXPECT_EQ(process->Output(), output.str());
    const std::string& errors = process->Errors();
    EXPECT_TRUE(errors.starts_with(each.status == kUnknown ? "bit: " : "diagor: ")) << errors;
    EXPECT_NE(errors.find(each.complaint), std::string::npos) << errors;
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
    EXPECT_TRUE(each.status != 0 || !fs::exists(folder.Path() / "root")) << errors;
  }
}

// A camera that starts at the last second of a leap day goes on into March, its clock chip with it.
TEST_F(ProgramTest, StartsAtAnyTime) {
  const auto camera = Serve("KY", {{"DIAGOR_START", "2024-02-29T23:59:59"}});
  client::CameraClient client(mPort);
  client.Set(".desk.clock.advance", "2");
  EXPECT_EQ(client.Get(".desk.clock.local")["value"], "2024-03-01T00:00:01");
  EXPECT_EQ(client.Get(".desk.rtc.seconds")["value"], 1);
}

// How a number was read shows in what the camera says of it, taken or free.
TEST_F(ProgramTest, PortNumbersReadAsTheirRuleSays) {
  for (const char* const argument : {"0xD431", "54321", "54321abc"}) {
    const auto process = Start({"-p", argument});
    const std::string errors = process->ErrorsUntil("\n");
    EXPECT_NE(errors.find("54321"), std::string::npos) << argument << ": " << errors;
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

// Whoever reads along at a pipe sees a key that is none while its dialog is up: a program that is
// killed then has said it.
TEST_F(ProgramTest, UnknownKeysAreToldAtOnce) {
  const auto process =
      Serve("K", {{"DIAGOR_KNOBS", ".desk.operator.mode=none;.desk.clock.at=1 .desk.key=0x99"}});
  client::CameraClient camera(mPort);
  camera.Set("test.items.buttons.buttons", "run");
  process->Signal(SIGKILL);
  process->Wait();
  EXPECT_EQ(process->Output(), "Unkown:0x99\n");
}

TEST_F(ProgramTest, StorageThatCannotBeIsNamedAndNothingIsHalfMade) {
  Process before("/bin/sh", {"-c", "cd " + mFolder.Path().string() + R"(
    ln -s /nowhere/there link
    mkdir -p folder/FlashFS/tmp/bitlog.txt pipe/FlashFS/tmp pipe2/FlashFS/log file/FlashFS way
    mkfifo pipe/FlashFS/tmp/bitlog.txt pipe2/FlashFS/log/syslog.txt
    echo x > file/FlashFS/log
    mkdir elsewhere
    ln -s ../elsewhere way/FlashFS)"});
  ASSERT_EQ(before.Wait(), 0) << before.Errors();
  const std::pair<const char*, const char*> cases[] = {
      {"/dev/null", "/dev/null is no folder\n"},
      {"/proc/nothing/here", "cannot make /proc/nothing/here: "},
      {"/proc", "cannot make /FlashFS/tmp in /proc: "},
      {"link", "cannot make "},
      {"folder", "FlashFS/tmp/bitlog.txt is no ordinary file\n"},
      {"pipe", "FlashFS/tmp/bitlog.txt is no ordinary file\n"},
      {"pipe2", "FlashFS/log/syslog.txt is no ordinary file\n"},
      {"file", "cannot make /FlashFS/log in "},
      {"way", "/FlashFS/tmp/bitlog.txt leads out of "},
  };
  for (const auto& [root, complaint] : cases) {
    const auto process = Start({"-p", "0"}, {{"DIAGOR_ROOT", mFolder.Path() / root}});
    EXPECT_NE(process->Wait(), 0) << root;
    const std::string& errors = process->Errors();
    EXPECT_TRUE(errors.starts_with("diagor: the camera's storage: ")) << errors;
    EXPECT_NE(errors.find(complaint), std::string::npos) << errors;
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
  }
  EXPECT_TRUE(fs::is_symlink(mFolder.Path() / "link"));  // it was not ours to remove
  // The folder whose place a file takes cannot be made: what was made before goes again.
  const fs::path variant = mFolder.Path() / "mine.toml";
  std::ofstream(variant) << "name = \"X\"\nbsp = \"KY\"\nfiles = [\"/a/b\", \"/a/b/c\"]\n"
                         << "[nodes]\n\"version.product.name\" = \"X\"\n";
  const std::map<std::string, std::string> mine = {{"DIAGOR_VARIANT", variant.string()}};
  EXPECT_NE(Start({"-p", "0"}, mine)->Wait(), 0);
  EXPECT_FALSE(fs::exists(Root()));
  fs::create_directories(Root());
  EXPECT_NE(Start({"-p", "0"}, mine)->Wait(), 0);
  EXPECT_TRUE(fs::is_empty(Root()));
}

// What a process left that was killed while it filled its storage is no camera.
TEST_F(ProgramTest, HalfFilledStorageIsFilledAnew) {
  fs::create_directories(Root() / "FlashFS/half");
  std::ofstream(Root() / ".filling") << "";
  const auto process = Serve("KY");
  EXPECT_FALSE(fs::exists(Root() / "FlashFS/half"));
  EXPECT_TRUE(fs::exists(Root() / "FlashFS/system/bit/images"));
  EXPECT_FALSE(fs::exists(Root() / ".filling"));
}

TEST_F(ProgramTest, StorageOfACameraThatRunsIsRefused) {
  const auto first = Serve("V");
  const auto second = Start({"-p", "0"});
  EXPECT_NE(second->Wait(), 0);
  EXPECT_NE(second->Errors().find(" is in use by another camera"), std::string::npos)
      << second->Errors();
  first->Signal(SIGKILL);
  first->Wait();
  Serve("V");  // no trace of the one that was killed keeps it out
}

TEST_F(ProgramTest, VariantFileWithAMistakeIsNamedByFileLineAndKey) {
  const fs::path file = mFolder.Path() / "mine.toml";
  const std::string head = "name = \"X\"\nbsp = \"KY\"\n";
  const std::string bus = head + "drivers = [\"i2c1\"]\n";
  const std::pair<std::string, const char*> cases[] = {
      {"name = \"X\"\n", ":1: the key bsp is missing"},
      {"name = \"X\"\nbsp = 7\n", ":2: the key bsp has a wrong type"},
      {"name = \"X\"\nbsp = \n", ":2: "},
      {"name = \"X\"\nname = \"Y\"\n", ":2: "},
      {"\x80\x81", ":1: "},
      {head + "\ncolour = 1\n", ":4: unknown key colour"},
      {head + "display_width = 10\n", ":3: display_width is no number from 64 to 4096"},
      {head + "drivers = [\"i2c9\"]\n", ":3: drivers: there is no driver i2c9"},
      {head + "drivers = [\n\"i2c1\",\n\"i2c1\"]\n", ":5: drivers lists i2c1 twice"},
      {head + "drivers = [7]\n", ":3: drivers lists something else than texts"},
      {head + "peripherals = [\"tea\"]\n", ":3: peripherals: there is no peripheral tea"},
      {head + "folders = [\"FlashFS\"]\n", ":3: folders: FlashFS is no path of the camera"},
      {head + "files = [\"/../x\"]\n", ":3: files: /../x is no path of the camera"},
      {head + "images = 1\n", ":3: the key images has a wrong type"},
      {bus + "chip = [\n{ bus = \"i2c1\", address = 0xAF, kind = \"eeprom\" }]\n",
       ":5: address is no even number"},
      {bus + "chip = [{ bus = \"i2c2\", address = 0xAE, kind = \"eeprom\" }]\n",
       ":4: bus: there is no bus i2c2"},
      {bus + "chip = [{ bus = \"i2c1\", address = 0xAE, kind = \"tube\" }]\n",
       ":4: kind: there is no chip tube"},
      {bus + "chip = [{ bus = \"i2c1\", address = 0xAE, kind = \"eeprom\" },\n"
             "{ bus = \"i2c1\", address = 0xAE, kind = \"eeprom\" }]\n",
       ":5: address: another chip of the bus has it"},
      {head + "[nodes]\n\"a..b\" = 1\n", ":4: nodes: \"a..b\" is no path of a node"},
      {head + "[nodes]\n\"a\" = 3000000000\n", ":4: a is a number of more than 32 bits"},
      {head + "[nodes]\n\"a\" = 1979-05-27\n", ":4: node a has a value of no known type"},
      {head + "[knobs]\n\".desk.nobody\" = 1\n", ":4: knobs: there is no knob .desk.nobody"},
      {bus + "[knobs]\n\".desk.driver.i2c1.present\" = 1\n",
       ":5: knobs: .desk.driver.i2c1.present does not take that value"},
      {head + "[keypad]\n\"F1\" = 999\n", ":4: key F1 has no code from 0x01 to 0xFF"},
      {head, ": nodes: version.product.name is missing"},
  };
  for (const auto& [text, says] : cases) {
    std::ofstream(file) << text;
    const auto process = Start({"-p", "0"}, {{"DIAGOR_VARIANT", file.string()}});
    EXPECT_EQ(process->Wait(), 2);
    const std::string complaint = "diagor: " + file.string() + says;
    EXPECT_TRUE(process->Errors().starts_with(complaint)) << process->Errors() << complaint;
    EXPECT_EQ(std::count(process->Errors().begin(), process->Errors().end(), '\n'), 1)
        << process->Errors();
    EXPECT_FALSE(fs::exists(Root()));
  }
}

// Whatever is left of a variant's file when an editor was interrupted: a camera or a complaint.
TEST_F(ProgramTest, VariantFileCutAnywhereLoadsOrIsRefused) {
  const std::string whole = FileText(fs::path(TEST_VARIANTS_FOLDER) / "KY.toml");
  const fs::path file = mFolder.Path() / "cut.toml";
  int refused = 0;
  for (std::size_t size = 0; size < whole.size(); size += 7) {
    std::ofstream(file) << whole.substr(0, size);
    try {
      desk::LoadVariant(file.string());
    } catch (const std::runtime_error& error) {
      ++refused;
      EXPECT_TRUE(std::string(error.what()).starts_with(file.string() + ":")) << error.what();
    }
  }
  EXPECT_GT(refused, 100);
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
    try {
      ADD_FAILURE() << other.Set("test.items.VDDR.looptest", "run");
    } catch (const client::RefusedError& busy) {
      EXPECT_EQ(busy.status, 409);
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

// All but the video memory, whose pass takes long: once is enough, and where every access is
// watched it has tests of its own.
constexpr char kWithoutMemory[] = "test.items.[!V]*";
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr const char* kRuns[] = {kWithoutMemory, kWithoutMemory};
#else
constexpr const char* kRuns[] = {"*", kWithoutMemory};
#endif

class WholeRunTest : public ProgramTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(WholeRunTest, EveryItemPassesAndTheLogIsTheSameTwice) {
  std::string logs[2];
  for (std::size_t i = 0; i < 2; ++i) {
    const auto camera = Serve(GetParam());
    Process run("diagorctl",
                {"--port", std::to_string(mPort), "--json", "--quiet", "run", kRuns[i]});
    EXPECT_EQ(run.Wait(), 0) << run.Output();
    camera->Signal(SIGTERM);
    EXPECT_EQ(camera->Wait(), 0) << camera->Errors();
    std::istringstream records(FileText(Root() / "FlashFS/tmp/bitlog.txt"));
    std::size_t lines = 0;
    for (std::string line; std::getline(records, line); ++lines) {
      if (line.find(";VDDR         ;") == std::string::npos) logs[i] += line + "\n";
    }
    EXPECT_EQ(lines, 10 + Json::parse(run.Output())["passed"].get<std::size_t>());
    fs::remove_all(Root());
  }
  EXPECT_EQ(logs[0], logs[1]);
}

INSTANTIATE_TEST_SUITE_P(Variants, WholeRunTest, ::testing::ValuesIn(desk::VariantNames()),
                         NameOfVariant);

}  // namespace
}  // namespace test
