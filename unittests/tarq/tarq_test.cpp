// The framework's stand-in: values, trees, helper functions, supervisor.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "common_dll.h"
#include "support/test_camera.h"
#include "tarq/framework.h"
#include "tarq/node_access.h"

namespace test {
namespace {

using TARQ::CResourceValue;
using TARQ::ValueType;

CResourceValue Double(double number) {
  CResourceValue value(ValueType::Double);
  value.Set(number);
  return value;
}

TEST(ValueTest, TypesHaveTheFrameworksNumbers) {
  EXPECT_EQ(static_cast<int>(CResourceValue("text").Type()), 4);
  EXPECT_EQ(static_cast<int>(Double(1).Type()), 3);
  EXPECT_EQ(CResourceValue(L"text").Type(), ValueType::Wide);
  EXPECT_EQ(CResourceValue(true).Type(), ValueType::Bool);
  EXPECT_EQ(CResourceValue(7).Type(), ValueType::Int);
}

TEST(ValueTest, ReadsAsEachType) {
  struct Case {
    CResourceValue value;
    const char* ascii;
    const char* asAscii;
    bool truth;
    LONG number;
  };
  const Case cases[] = {
      {CResourceValue(true), "", "true", true, 1},
      {CResourceValue(-3), "", "-3", true, -3},
      {CResourceValue(0), "", "0", false, 0},
      {Double(-2.75), "", "-2.75", true, -2},
      {Double(1e300), "", "1e+300", true, 2147483647},
      {CResourceValue("42.9 mm"), "42.9 mm", "42.9 mm", false, 42},
      {CResourceValue("true"), "true", "true", true, 0},
      {CResourceValue("1"), "1", "1", true, 1},
      {CResourceValue("yes"), "yes", "yes", false, 0},
      {CResourceValue(L"\u00E4"), "\xC3\xA4", "\xC3\xA4", false, 0},
  };
  for (const Case& each : cases) {
    EXPECT_STREQ(each.value.GetAscii().AsChar(), each.ascii);
    EXPECT_STREQ(each.value.GetAsAscii(false).AsChar(), each.asAscii);
    EXPECT_EQ(each.value.GetBool(), each.truth) << each.asAscii;
    EXPECT_EQ(each.value.GetInt(), each.number) << each.asAscii;
  }
}

TEST(ValueTest, SetKeepsTheTypeOrReplacesIt) {
  const char* const list[] = {"TEXT", "XML", nullptr};
  struct Case {
    CResourceValue target;
    CResourceValue written;
    const char* result;  // null: refused, and the target unchanged
  };
  const Case cases[] = {
      {CResourceValue(5), CResourceValue("17"), "17"},
      {CResourceValue(5), CResourceValue("17.5"), nullptr},
      {CResourceValue(5), CResourceValue("Untested"), nullptr},
      {CResourceValue(5), CResourceValue("3000000000"), nullptr},
      {CResourceValue(5), Double(-3), "-3"},
      {CResourceValue(false), CResourceValue("true"), "true"},
      {CResourceValue(false), CResourceValue("maybe"), nullptr},
      {CResourceValue(false), CResourceValue(2), "true"},
      {Double(1), CResourceValue("2.5"), "2.5"},
      {Double(1), CResourceValue("nan"), nullptr},
      {CResourceValue("x"), CResourceValue(8), "8"},
      {CResourceValue(L"x"), CResourceValue("wide"), "wide"},
      {CResourceValue("TEXT", list, 0, false), CResourceValue("XML"), "XML"},
      {CResourceValue("TEXT", list, 0, false), CResourceValue(L"XML"), "XML"},
      {CResourceValue("TEXT", list, 0, false), CResourceValue("xml"), nullptr},
      {CResourceValue("TEXT", list, 0, false), CResourceValue(1), nullptr},
  };
  for (const Case& each : cases) {
    CResourceValue value = each.target;
    EXPECT_EQ(value.Set(each.written, true) == 0, each.result != nullptr);
    EXPECT_EQ(value.Type(), each.target.Type());
    if (each.result != nullptr) {
      EXPECT_STREQ(value.GetAsAscii(false).AsChar(), each.result);
    } else {
      EXPECT_EQ(value.Compare(each.target), 0);
    }
    EXPECT_EQ(value.Set(each.written, false), 0U);
    EXPECT_EQ(value.Compare(each.written), 0);
  }
}

// A value is read on one thread while another stores it: the reader gets one or the other, whole.
TEST(ValueTest, MayBeReadWhileItIsStored) {
  const std::string texts[] = {std::string(40, 'a'), std::string(60, 'b')};
  CResourceValue value(texts[0].c_str());
  std::thread writer([&] {
    for (int i = 0; i < 2000; ++i) value.Set(CResourceValue(texts[i % 2].c_str()), false);
  });
  for (int i = 0; i < 2000; ++i) {
    const std::string read = value.GetAscii().AsChar();
    ASSERT_TRUE(read == texts[0] || read == texts[1]);
  }
  writer.join();
}

TEST(TreeTest, PathsOrderAndOpenCounts) {
  BareCamera camera;
  const TARQ::CSupervisor supervisor;
  TARQ::CResourceTree& tree = camera.Camera().TaskTree();
  auto& branch = TARQ::NodeAccess::MakeBranch(TARQ::NodeAccess::Root(tree), "a.b");
  for (const char* const name : {"z", "m", "a"}) {
    branch.AddChild(new TARQ::CServerResource(name, CResourceValue(name), 0), nullptr);
  }
  EXPECT_NE(branch.AddChild(nullptr, nullptr), 0U);

  TARQ::CResource* node = nullptr;
  for (const char* const path : {"a.b.c", "a..b", "a.b.", "A.b", "..a"}) {
    EXPECT_NE(tree.OpenResource(path, node, nullptr), 0U) << path;
  }
  ASSERT_EQ(tree.OpenResource(".a.b", node, nullptr), 0U);
  EXPECT_EQ(node->Type(), 5U);
  std::string order;
  TARQ::CResource* child = nullptr;
  for (DWORD status = node->OpenChild(0, child); status == 0;) {
    EXPECT_EQ(child->Type(), 0U);
    CResourceValue value(0);
    EXPECT_EQ(child->Get(value, nullptr), 0U);
    order += value.GetAscii().AsChar();
    TARQ::CResource* next = nullptr;
    status = child->Iterate(next);
    child->Close();
    child = next;
  }
  EXPECT_EQ(order, "zma");
  TARQ::CResource* parent = nullptr;
  ASSERT_EQ(node->OpenParent(parent), 0U);
  EXPECT_EQ(TARQ::NodeAccess::OpenCount(branch), 1);
  ASSERT_EQ(parent->OpenChild("b.m", child), 0U);
  child->Close();
  parent->Close();
  node->Close();
  EXPECT_EQ(TARQ::NodeAccess::OpenCount(branch), 0);
}

TEST(TreeTest, BranchesHaveNoValueAndTriggersReadFalse) {
  TARQ::CServerResource branch("b", 5, 0);
  CResourceValue value("kept");
  EXPECT_NE(branch.Get(value, nullptr), 0U);
  EXPECT_NE(branch.Set(value, 0, 0, nullptr), 0U);
  EXPECT_STREQ(value.GetAscii().AsChar(), "kept");
  TARQ::CTrigResource trigger("t", true, 0);
  EXPECT_EQ(trigger.Get(value, nullptr), 0U);
  EXPECT_FALSE(value.GetBool());
}

TEST(AccessTest, KnobsFailTheProgramsCallsAndNotTheClients) {
  BareCamera camera;
  const TARQ::CSupervisor supervisor;
  TARQ::CResourceTree& tree = camera.Camera().CameraTree();
  TARQ::CResource* node = nullptr;
  CResourceValue value("");

  camera.Set(".desk.hidden", "system.vcam.torch .version");
  EXPECT_NE(tree.OpenResource("system.vcam.torch", node, nullptr), 0U);
  EXPECT_NE(tree.OpenResource(".version", node, nullptr), 0U);
  ASSERT_EQ(tree.OpenResource("system.vcam", node, nullptr), 0U);
  TARQ::CResource* child = nullptr;
  EXPECT_NE(node->OpenChild("torch", child), 0U);  // as a child neither
  EXPECT_NE(node->OpenChild(0, child), 0U);
  node->Close();
  EXPECT_EQ(camera.Get(".system.vcam.torch"), "false");
  camera.Set(".system.vcam.torch", "true");

  ASSERT_EQ(tree.OpenResource("version.product.name", node, nullptr), 0U);
  camera.Set(".desk.unreadable", "version.product.name");
  EXPECT_NE(node->Get(value, nullptr), 0U);
  camera.Set(".desk.unreadable", "");
  EXPECT_EQ(node->Get(value, nullptr), 0U);
  camera.Set(".desk.refused", ".version.product.name");
  EXPECT_NE(node->Set(CResourceValue("other"), 0, 0, nullptr), 0U);
  EXPECT_EQ(camera.Get(".version.product.name"), "KY");
  camera.Set(".desk.restore", "true");
  EXPECT_EQ(node->Set(CResourceValue("other"), 0, 0, nullptr), 0U);
  EXPECT_EQ(camera.Get(".version.product.name"), "other");
  EXPECT_EQ(camera.Get(".system.vcam.torch"), "false");
  node->Close();
}

std::string ParsedOptions(const wchar_t* line) {
  int count = 0;
  char** vector = nullptr;
  cmdline_to_argv(line, &count, &vector);
  int state[3] = {1, 1, 1};
  char* argument = nullptr;
  std::string parsed;
  for (int letter = 0; letter != -1;) {
    letter = tarq_getopt(count, vector, "p:n:s:a:h", &state[0], &state[1], &state[2], &argument);
    if (letter == -1) break;
    parsed += static_cast<char>(letter);
    if (letter != 'h' && letter != '?') parsed += std::string("<") + argument + ">";
  }
  dealloc_argv(vector);
  return parsed;
}

TEST(HelperTest, OptionsAsTheirWordsSay) {
  EXPECT_EQ(ParsedOptions(L""), "");
  EXPECT_EQ(ParsedOptions(L"-n cam -p0x10 -h"), "n<cam>p<0x10>h");
  EXPECT_EQ(ParsedOptions(L"-hn cam"), "hn<cam>");
  EXPECT_EQ(ParsedOptions(L"-xq -z -n \"two words\""), "???n<two words>");
  EXPECT_EQ(ParsedOptions(L"-n \"\" -p -1"), "n<>p<-1>");
  EXPECT_EQ(ParsedOptions(L"-h word -h"), "h");
  EXPECT_EQ(ParsedOptions(L"-h -- -h"), "h");
  EXPECT_EQ(ParsedOptions(L"-n"), "?");
  EXPECT_EQ(ParsedOptions(L"-: -h"), "?h");
}

TEST(HelperTest, BytesTimeAndText) {
  BareCamera camera;
  EXPECT_EQ(dEndian(0x12345678), 0x78563412U);
  int fields[6] = {};
  getloctime(unixtime(), fields);
  EXPECT_EQ(std::vector<int>(fields, fields + 6), (std::vector<int>{2013, 8, 29, 12, 0, 0}));
  wchar_t* const wide = ASCIIToUnicode("abc");
  EXPECT_EQ(std::wstring(wide), L"abc");
  delete[] wide;
  CText text;
  EXPECT_TRUE(text.IsEmpty());
  text.Format("%s-%d", std::string(500, 'x').c_str(), 7);
  EXPECT_EQ(std::wstring(text.AsWChar()), std::wstring(500, L'x') + L"-7");
}

TEST(SupervisorTest, RefusesAContainerThatNobodyMakes) {
  BareCamera camera;
  TARQ::CSupervisor supervisor;
  TARQ::CSupvFactory factory;
  const TARQ::SupvItem none[] = {{nullptr, nullptr, nullptr, nullptr, {}}};
  EXPECT_EQ(supervisor.Init(&factory, none, "bit", 0, nullptr, 0, nullptr, nullptr, nullptr, 0),
            0U);
  const TARQ::SupvItem unknown[] = {{"LIB", "CNobody", "INIT", nullptr, {}},
                                    {nullptr, nullptr, nullptr, nullptr, {}}};
  EXPECT_NE(supervisor.Init(&factory, unknown, "bit", 0, nullptr, 0, nullptr, nullptr, nullptr, 0),
            0U);
}

// A task that takes a while before it waits, or ends.
class SlowTask : public TARQ::CTaskContainer {
 public:
  SlowTask(bool waits, std::atomic<bool>& acted) : mWaits(waits), mActed(acted) {}
  DWORD Run() override {
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();
    mActed = true;
    const HANDLE stop = GetStartStopEvent();
    if (mWaits) WaitForMultipleObjects(1, &stop, FALSE, INFINITE);
    return 0;
  }

 private:
  bool mWaits;
  std::atomic<bool>& mActed;
};

TEST(SupervisorTest, ServesAfterTheTasksFirstActs) {
  for (const bool waits : {true, false}) {
    BareCamera camera;
    std::atomic<bool> acted{false};
    struct Factory : TARQ::CSupvFactory {
      TARQ::CLibContainer* Create(const char* /*name*/) override {
        return new SlowTask(waits, *acted);
      }
      bool waits = false;
      std::atomic<bool>* acted = nullptr;
    } factory;
    factory.waits = waits;
    factory.acted = &acted;
    bool actedBefore = false;
    desk::SetFrameworkHooks({{}, [&] { actedBefore = acted; }});
    const TARQ::SupvItem items[] = {{"TASK", "SlowTask", "START", "bit", {}},
                                    {nullptr, nullptr, nullptr, nullptr, {}}};
    TARQ::CSupervisor supervisor;
    EXPECT_EQ(supervisor.Init(&factory, items, "bit", 0, nullptr, 0, nullptr, nullptr, nullptr, 0),
              0U);
    EXPECT_TRUE(actedBefore) << waits;
    desk::RequestStop();
    supervisor.Start(0);
    supervisor.Unload();
  }
}

}  // namespace
}  // namespace test
