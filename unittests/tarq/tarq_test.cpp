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
    const CText before = each.target.GetAsAscii(false);
    EXPECT_STREQ(value.GetAsAscii(false).AsChar(), each.result ? each.result : before.AsChar());
    EXPECT_EQ(value.Set(each.written, false), 0U);
    EXPECT_EQ(value.Compare(each.written), 0);
  }
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
  CResourceValue kept("kept");
  EXPECT_NE(branch.Get(kept, nullptr), 0U);
  EXPECT_NE(branch.Set(kept, 0, 0, nullptr), 0U);
  EXPECT_STREQ(kept.GetAscii().AsChar(), "kept");

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

TEST(AccessTest, KnobsFailTheProgramsCallsAndNotTheClients) {
  BareCamera camera;
  const TARQ::CSupervisor supervisor;
  TARQ::CResourceTree& tree = camera.Camera().CameraTree();
  TARQ::CResource* node = nullptr;

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
  camera.Set(".desk.refused", ".version.product.name");
  EXPECT_NE(node->Set(CResourceValue("other"), 0, 0, nullptr), 0U);
  EXPECT_EQ(camera.Get(".version.product.name"), "KY");
  node->Close();
}

TEST(HelperTest, OptionsAsTheirWordsSay) {
  const std::pair<const wchar_t*, const char*> cases[] = {
      {L"", ""},
      {L"-n cam -p0x10 -h", "n<cam>p<0x10>h"},
      {L"-hn cam", "hn<cam>"},
      {L"-xq -z -n \"two words\"", "???n<two words>"},
      {L"-n \"\" -p -1", "n<>p<-1>"},
      {L"-h word -h", "h"},
      {L"-h -- -h", "h"},
      {L"-n", "?"},
      {L"-: -h", "?h"},
  };
  for (const auto& [line, expected] : cases) {
    int count = 0;
    char** words = nullptr;
    cmdline_to_argv(line, &count, &words);
    int state[3] = {1, 1, 1};
    char* argument = nullptr;
    std::string parsed;
    const auto next = [&] {
      return tarq_getopt(count, words, "p:n:s:a:h", &state[0], &state[1], &state[2], &argument);
    };
    for (int letter = next(); letter != -1; letter = next()) {
      parsed += static_cast<char>(letter);
      if (letter != 'h' && letter != '?') parsed += std::string("<") + argument + ">";
    }
    dealloc_argv(words);
    EXPECT_EQ(parsed, expected);
  }
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

class SlowTaskFactory : public TARQ::CSupvFactory {
 public:
  TARQ::CLibContainer* Create(const char* name) override {
    return *name == '\0' ? nullptr : new SlowTask(std::string_view(name) == "waits", acted);
  }
  std::atomic<bool> acted{false};
};

// A container that nobody makes is refused; what is served comes after each task's first acts.
TEST(SupervisorTest, ServesAfterTheTasksFirstActs) {
  for (const char* const name : {"waits", "ends", ""}) {
    BareCamera camera;
    SlowTaskFactory factory;
    bool actedBefore = false;
    desk::SetFrameworkHooks({{}, [&] { actedBefore = factory.acted; }});
    const TARQ::SupvItem items[] = {{"TASK", name, "START", "bit", {}},
                                    {nullptr, nullptr, nullptr, nullptr, {}}};
    TARQ::CSupervisor supervisor;
    const DWORD status =
        supervisor.Init(&factory, items, "bit", 0, nullptr, 0, nullptr, nullptr, nullptr, 0);
    EXPECT_EQ(status == 0, *name != '\0') << name;
    EXPECT_EQ(actedBefore, *name != '\0') << name;
    desk::RequestStop();
    supervisor.Start(0);
    supervisor.Unload();
  }
}

}  // namespace
}  // namespace test
