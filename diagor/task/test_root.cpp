#include "task/test_root.h"

#include "app/framework.h"
#include "items/maintenance.h"
#include "items/resource_access.h"
#include "items/status.h"

namespace {

TARQ::CServerResource* NewBranch(const char* name) {
  return new TARQ::CServerResource(name, TARQ::kBranchNode, kNodeAttributes);
}

void AddDescription(TARQ::CServerResource& test) {
  static constexpr const char* kTexts[] = {"tester", "env", "article", "serial", "category"};
  static constexpr const char* kFormats[] = {"TEXT", "XML", nullptr};

  TARQ::CServerResource* const description = NewBranch("description");
  test.AddChild(description, nullptr);
  description->Open();
  for (const char* const name : kTexts) {
    description->AddChild(
        new TARQ::CServerResource(name, TARQ::CResourceValue("Unknown", 0), kNodeAttributes),
        nullptr);
  }
  description->AddChild(
      new TARQ::CServerResource("format", TARQ::CResourceValue("TEXT", kFormats, 0, false),
                                kNodeAttributes),
      nullptr);
  description->Close();
}

}  // namespace

// Both arguments are what every builder passes; the root is alike everywhere.
DWORD BuildTestRoot(CBitTask* /*task*/, DWORD /*platform*/) {
  const Trees trees;
  if (trees.task == nullptr) return kNoResourceTree;
  auto* const root = dynamic_cast<TARQ::CServerResource*>(trees.task->GetRoot());
  if (root == nullptr) return kNoResourceTree;

  TARQ::CServerResource* const test = NewBranch("test");
  root->AddChild(test, nullptr);
  test->Open();
  test->AddChild(new CResBitErrCnt("errcnt"), nullptr);
  test->AddChild(new CResBitClearResult("clearResult"), nullptr);
  test->AddChild(new CResBitClearLog("clearLog"), nullptr);
  AddDescription(*test);
  test->AddChild(NewBranch("items"), nullptr);
  test->Close();
  return 0;
}
