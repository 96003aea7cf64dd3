// Opened resources of the two trees.
#pragma once

#include "app/framework.h"

// The attribute word of every node of the test tree but errcnt.
constexpr DWORD kNodeAttributes = 0x80000000;

// The two trees, which the framework keeps reachable while a local supervisor lives. Either may be
// missing.
class Trees {
 private:
  TARQ::CSupervisor mSupervisor;

 public:
  TARQ::CResourceTree* const camera = TARQ::CSupervisor::mpGlobalResourceTree;  // all tasks'
  TARQ::CResourceTree* const task = TARQ::CSupervisor::mpLocalResourceTree;     // this task's own
};

enum class Tree { Camera, Task };

// An opened resource, closed at the end of its scope. One that cannot be opened is empty, and
// every access to it is skipped.
class OpenedResource {
 public:
  OpenedResource() = default;
  OpenedResource(Tree tree, const char* path) { Open(tree, path); }
  // Of a tree that the caller has read and keeps reachable.
  OpenedResource(TARQ::CResourceTree* tree, const char* path) { Open(tree, path); }
  OpenedResource(const OpenedResource& parent, const char* child) { Open(parent, child); }
  // For one that is to be opened later than it is made.
  void Open(Tree tree, const char* path) {
    Open(tree == Tree::Camera ? mTrees.camera : mTrees.task, path);
  }
  void Open(TARQ::CResourceTree* tree, const char* path) {
    Close();
    mStatus = tree == nullptr ? TARQ::kStatusNotFound
                              : tree->OpenResource(TARQ::CResourcePath(path), mResource, nullptr);
    if (mStatus != 0) mResource = nullptr;
  }
  void Open(const OpenedResource& parent, const char* child) {
    Close();
    mStatus = parent ? parent.mResource->OpenChild(TARQ::CResourcePath(child), mResource)
                     : TARQ::kStatusNotFound;
    if (mStatus != 0) mResource = nullptr;
  }
  // The branch that an item stands in.
  static OpenedResource ParentOf(TARQ::CResource& item) { return OpenedResource(item); }
  ~OpenedResource() { Close(); }
  OpenedResource(const OpenedResource&) = delete;
  OpenedResource& operator=(const OpenedResource&) = delete;

  explicit operator bool() const { return mResource != nullptr; }
  DWORD Status() const { return mStatus; }
  TARQ::CResource* operator->() const { return mResource; }
  TARQ::CResource* Get() const { return mResource; }

  // False for a read that was skipped or failed: the value then stays as it was.
  bool ReadInto(TARQ::CResourceValue& value) const {
    return mResource != nullptr && mResource->Get(value, nullptr) == 0;
  }
  // False for a write that was skipped or refused.
  bool Write(const TARQ::CResourceValue& value) const {
    return mResource != nullptr && mResource->Set(value, 0, 0, nullptr) == 0;
  }
  // Before the end of its scope; from then on it is empty.
  void Close() {
    if (mResource != nullptr) mResource->Close();
    mResource = nullptr;
  }

 private:
  explicit OpenedResource(TARQ::CResource& item) {
    mStatus = item.OpenParent(mResource);
    if (mStatus != 0) mResource = nullptr;
  }

  Trees mTrees;  // reachable until the resource is closed
  TARQ::CResource* mResource = nullptr;
  DWORD mStatus = 0;
};

template <typename TreeOrPointer>
void WriteTo(TreeOrPointer tree, const char* path, const TARQ::CResourceValue& value) {
  OpenedResource(tree, path).Write(value);
}
