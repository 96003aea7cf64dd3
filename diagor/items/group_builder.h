// Builds one hardware group: a branch under test.items with the group's items.
#pragma once

#include "app/framework.h"
#include "items/resource_access.h"

// The attribute word of every node of the test tree but errcnt.
constexpr DWORD kNodeAttributes = 0x80000000;

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
  OpenedResource mItems;
  TARQ::CServerResource* mGroup = nullptr;
  DWORD mStatus = 0;
};
