#include "items/group_builder.h"

#include "items/status.h"

GroupBuilder::GroupBuilder(const char* group) : mItems(mTrees.task, "test.items") {
  mStatus = mTrees.task == nullptr ? kNoResourceTree : mItems.Status();
  if (mStatus != 0) return;
  auto* const items = dynamic_cast<TARQ::CServerResource*>(mItems.Get());
  if (items == nullptr) {
    mStatus = kNoResourceTree;
    return;
  }

  mGroup = new TARQ::CServerResource(group, TARQ::kBranchNode, kNodeAttributes);
  items->AddChild(mGroup, nullptr);
  mGroup->Open();
}

GroupBuilder::~GroupBuilder() {
  if (mGroup != nullptr) mGroup->Close();
}

void GroupBuilder::Add(TARQ::CServerResource* node) {
  mGroup->AddChild(node, nullptr);
}
