// Builds one hardware group: a branch under test.items with the group's items.
#pragma once

#include "app/framework.h"
#include "items/resource_access.h"

// Holds test.items and the group node open while the group is built.
class GroupBuilder {
 public:
  explicit GroupBuilder(const char* group);
  ~GroupBuilder();
  GroupBuilder(const GroupBuilder&) = delete;
  GroupBuilder& operator=(const GroupBuilder&) = delete;

  // 0, or why test.items cannot be opened; nothing is built then.
  DWORD Status() const { return mStatus; }
  // Adds a node of the group, which the tree then owns.
  void Add(TARQ::CServerResource* node);

 private:
  Trees mTrees;
  OpenedResource mItems;
  TARQ::CServerResource* mGroup = nullptr;
  DWORD mStatus = 0;
};

// An item of a group whose items differ in a mode.
template <typename Mode>
struct ItemRow {
  const char* node;
  const char* description;
  Mode mode;
};

// The whole of a group creator: fill adds the nodes. 0, or why nothing was built.
template <typename Fill>
DWORD CreateGroup(const char* group, const Fill& fill) {
  GroupBuilder builder(group);
  if (builder.Status() == 0) fill(builder);
  return builder.Status();
}

// A group with one item.
template <typename Item>
DWORD CreateGroupOfOne(const char* group, const char* node, const char* description) {
  return CreateGroup(group,
                     [&](GroupBuilder& builder) { builder.Add(new Item(node, description)); });
}
