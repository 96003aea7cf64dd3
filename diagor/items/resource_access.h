// Opened resources of the two trees.
#pragma once

#include "app/framework.h"

// An opened resource, closed at the end of its scope. One that cannot be opened is empty, and
// every access to it is skipped.
class OpenedResource {
 public:
  OpenedResource(TARQ::CResourceTree* tree, const char* path) {
    mStatus = tree == nullptr ? TARQ::kStatusNotFound
                              : tree->OpenResource(TARQ::CResourcePath(path), mResource, nullptr);
    if (mStatus != 0) mResource = nullptr;
  }
  OpenedResource(const OpenedResource& parent, const char* child) {
    mStatus = parent ? parent.mResource->OpenChild(TARQ::CResourcePath(child), mResource)
                     : TARQ::kStatusNotFound;
    if (mStatus != 0) mResource = nullptr;
  }
  ~OpenedResource() {
    if (mResource != nullptr) mResource->Close();
  }
  OpenedResource(const OpenedResource&) = delete;
  OpenedResource& operator=(const OpenedResource&) = delete;

  explicit operator bool() const { return mResource != nullptr; }
  DWORD Status() const { return mStatus; }
  TARQ::CResource* operator->() const { return mResource; }
  TARQ::CResource* Get() const { return mResource; }

  // The value's replacement is skipped with the open.
  void ReadInto(TARQ::CResourceValue& value) const {
    if (mResource != nullptr) mResource->Get(value, nullptr);
  }
  void Write(const TARQ::CResourceValue& value) const {
    if (mResource != nullptr) mResource->Set(value, 0, 0, nullptr);
  }

 private:
  TARQ::CResource* mResource = nullptr;
  DWORD mStatus = 0;
};

// The trees as the supervisor gives them; either may be missing.
inline TARQ::CResourceTree* CameraTree() {
  const TARQ::CSupervisor supervisor;
  return TARQ::CSupervisor::mpGlobalResourceTree;
}
inline TARQ::CResourceTree* TaskTree() {
  const TARQ::CSupervisor supervisor;
  return TARQ::CSupervisor::mpLocalResourceTree;
}
