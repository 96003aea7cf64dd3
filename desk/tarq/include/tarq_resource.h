// Resources: named nodes of a tree that are read and written.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tarq_value.h"

namespace TARQ {

class CServerResource;
class CUser;

constexpr DWORD kValueNode = 0;
constexpr DWORD kBranchNode = 5;

// A resource as a task uses it, wherever it is served. Whoever opens one closes it.
class CResource {
 public:
  // A record of kind 2 in a task's queue: somebody waits for a value of this task's tree.
  struct SubscrMsg {
    DWORD kind;
    DWORD subscription;
    DWORD reserved[6];
  };

  CResource() = default;
  CResource(const CResource&) = delete;
  CResource& operator=(const CResource&) = delete;
  virtual ~CResource() = default;

  virtual DWORD Set(const CResourceValue& value, DWORD waitMode, DWORD timeOut,
                    const CUser* user) = 0;
  // Replaces the caller's value, its type included; a failed read leaves it alone.
  virtual DWORD Get(CResourceValue& value, const CUser* user) = 0;
  virtual DWORD Open() = 0;
  virtual DWORD Close() = 0;
  virtual DWORD OpenChild(const CResourcePath& path, CResource*& child) = 0;
  virtual DWORD OpenChild(DWORD index, CResource*& child) = 0;
  virtual DWORD OpenParent(CResource*& parent) = 0;
  // Opens the next sibling, in the order in which they were added.
  virtual DWORD Iterate(CResource*& sibling) = 0;
  virtual DWORD Type() const = 0;
};

// A resource that this process serves.
class CServerResource : public CResource {
 public:
  CServerResource(const CResourcePath& path, DWORD resourceType, DWORD attributes);
  CServerResource(const CResourcePath& path, const CResourceValue& value, DWORD attributes);
  ~CServerResource() override;

  // Null when there is no memory.
  static void* operator new(std::size_t size) noexcept;
  static void operator delete(void* memory) noexcept;

  // Places the child behind its siblings; the tree owns it from then on. A name should be there
  // once: a path finds the first.
  DWORD AddChild(CServerResource* child, const CUser* user);

  DWORD Set(const CResourceValue& value, DWORD waitMode, DWORD timeOut, const CUser* user) override;
  DWORD Get(CResourceValue& value, const CUser* user) override;
  DWORD Open() override;
  DWORD Close() override;
  DWORD OpenChild(const CResourcePath& path, CResource*& child) override;
  DWORD OpenChild(DWORD index, CResource*& child) override;
  DWORD OpenParent(CResource*& parent) override;
  DWORD Iterate(CResource*& sibling) override;
  DWORD Type() const override { return mResourceType; }

  // What a write and a read reach. As they stand here: a value keeps its type, and a branch has
  // none. No lock of the framework is held while they run.
  virtual DWORD SetImpl(CResourceValue& value, bool& changed);
  virtual DWORD GetImpl(CResourceValue& value);

  // Answers the subscription that a record of kind 2 names.
  static DWORD SendReply(const CResource::SubscrMsg& message);

 protected:
  CResourceValue mValue;

 private:
  friend class NodeAccess;
  friend class CResourceTree;

  std::string mName;
  DWORD mResourceType;
  DWORD mAttributes;
  CServerResource* mParent = nullptr;
  class CResourceTree* mTree = nullptr;  // the root's alone
  // Its children, from the first to the last. Only ever added to: readers need no lock.
  CServerResource* mFirstChild = nullptr;
  CServerResource* mLastChild = nullptr;
  CServerResource* mNextSibling = nullptr;
  std::atomic<int> mOpenCount{0};
};

// A resource that acts when true is written to it. It reads false.
class CTrigResource : public CServerResource {
 public:
  CTrigResource(const CResourcePath& path, bool value, DWORD attributes);
  DWORD GetImpl(CResourceValue& value) override;
};

class CResourceTree {
 public:
  CResourceTree();
  ~CResourceTree();
  CResourceTree(const CResourceTree&) = delete;
  CResourceTree& operator=(const CResourceTree&) = delete;

  DWORD OpenResource(const CResourcePath& path, CResource*& resource, const CUser* user);
  // Owned by the tree; not opened.
  CResource* GetRoot();

 private:
  friend class NodeAccess;
  class AccessRules* mRules = nullptr;  // null: everything is allowed and nothing recorded
  std::function<void(const CServerResource&, const CResourceValue&)> mListener;
  std::unique_ptr<CServerResource> mRoot;
};

}  // namespace TARQ
