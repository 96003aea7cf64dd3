#include <atomic>
#include <cstdlib>
#include <mutex>
#include <typeinfo>
#include <utility>

#include "common_dll.h"
#include "coredll/machine.h"
#include "tarq/node_access.h"
#include "tarq/task_access.h"
#include "tarq/trace_value.h"
#include "trace/observation.h"

namespace TARQ {

namespace {

// For who adds to the structure of the trees. Who reads it needs none: a node that can be seen is
// whole, stays where it is, and is never taken away before its tree. Values have locks of their
// own; none is held while a write or a read is carried out.
std::mutex& StructureLock() {
  static std::mutex lock;
  return lock;
}

CServerResource* Seen(CServerResource* const& link) {
  return std::atomic_ref(const_cast<CServerResource*&>(link))  // NOLINT: only loaded from
      .load(std::memory_order_acquire);
}
void Show(CServerResource*& link, CServerResource* node) {
  std::atomic_ref(link).store(node, std::memory_order_release);
}

std::string_view WithoutLeadingDot(std::string_view path) {
  if (!path.empty() && path.front() == '.') path.remove_prefix(1);
  return path;
}

}  // namespace

CServerResource::CServerResource(const CResourcePath& path, DWORD resourceType, DWORD attributes)
    : mValue(ValueType::Bool),
      mName(WithoutLeadingDot(path.AsString())),
      mResourceType(resourceType),
      mAttributes(attributes) {
  mValue.mOwner = this;
}

CServerResource::CServerResource(const CResourcePath& path, const CResourceValue& value,
                                 DWORD attributes)
    : mValue(value),
      mName(WithoutLeadingDot(path.AsString())),
      mResourceType(kValueNode),
      mAttributes(attributes) {
  mValue.mOwner = this;
}

CServerResource::~CServerResource() {
  for (CServerResource* child = mFirstChild; child != nullptr;) {
    delete std::exchange(child, child->mNextSibling);
  }
}

void* CServerResource::operator new(std::size_t size) noexcept {
  return std::malloc(size);
}

void CServerResource::operator delete(void* memory) noexcept {
  std::free(memory);
}

DWORD CServerResource::AddChild(CServerResource* child, const CUser* /*user*/) {
  if (child == nullptr) return kStatusInvalid;
  const std::lock_guard lock(StructureLock());
  Show(child->mParent, this);
  Show(mLastChild == nullptr ? mFirstChild : mLastChild->mNextSibling, child);
  mLastChild = child;
  return 0;
}

DWORD CServerResource::Set(const CResourceValue& value, DWORD waitMode, DWORD timeOut,
                           const CUser* /*user*/) {
  const bool allowed = NodeAccess::MayWrite(*this);
  const DWORD status = allowed ? NodeAccess::Write(*this, value) : kStatusRefused;
  if (desk::Observation::IsTraced() &&
      NodeAccess::TreeOf(*this) == CSupervisor::mpGlobalResourceTree) {
    desk::Observation::Step("set", {{"path", NodeAccess::Path(*this)},
                                    {"value", desk::ToTraceValue(value)},
                                    {"wait", static_cast<std::int64_t>(waitMode)},
                                    {"time_out", static_cast<std::int64_t>(timeOut)},
                                    {"ok", status == 0}});
  }
  return status;
}

DWORD CServerResource::Get(CResourceValue& value, const CUser* /*user*/) {
  const bool allowed = NodeAccess::MayRead(*this);
  const DWORD status = allowed ? GetImpl(value) : kStatusUnreadable;
  if (desk::Observation::IsTraced() &&
      NodeAccess::TreeOf(*this) == CSupervisor::mpGlobalResourceTree) {
    desk::Observation::Step(
        "get", {{"path", NodeAccess::Path(*this)},
                {"value", status == 0 ? desk::ToTraceValue(value) : desk::TraceValue("")},
                {"ok", status == 0}});
  }
  return status;
}

DWORD CServerResource::Open() {
  ++mOpenCount;
  return 0;
}

DWORD CServerResource::Close() {
  --mOpenCount;
  return 0;
}

namespace {

DWORD OpenFound(CServerResource* node, CResource*& resource) {
  if (node == nullptr || !NodeAccess::MayOpen(*node)) return kStatusNotFound;
  resource = node;
  return node->Open();
}

}  // namespace

DWORD CServerResource::OpenChild(const CResourcePath& path, CResource*& child) {
  return OpenFound(NodeAccess::Find(*this, path.AsString()), child);
}

DWORD CServerResource::OpenChild(DWORD index, CResource*& child) {
  CServerResource* found = Seen(mFirstChild);
  for (; found != nullptr && index > 0; --index) found = Seen(found->mNextSibling);
  return OpenFound(found, child);
}

DWORD CServerResource::OpenParent(CResource*& parent) {
  return OpenFound(Seen(mParent), parent);
}

DWORD CServerResource::Iterate(CResource*& sibling) {
  return OpenFound(Seen(mNextSibling), sibling);
}

DWORD CServerResource::SetImpl(CResourceValue& value, bool& changed) {
  if (mResourceType != kValueNode) return kStatusRefused;
  const CResourceValue before = mValue;
  const DWORD status = mValue.Set(value, true);
  changed = status == 0 && before.Compare(mValue) != 0;
  return status;
}

DWORD CServerResource::GetImpl(CResourceValue& value) {
  if (mResourceType != kValueNode) return kStatusUnreadable;
  return value.Set(mValue, false);
}

CTrigResource::CTrigResource(const CResourcePath& path, bool value, DWORD attributes)
    : CServerResource(path, CResourceValue(value), attributes) {}

DWORD CTrigResource::GetImpl(CResourceValue& value) {
  return value.Set(CResourceValue(false), false);
}

CResourceTree::CResourceTree()
    : mRoot(new CServerResource(CResourcePath(""), kBranchNode, kPlainNode)) {
  mRoot->mTree = this;
}

CResourceTree::~CResourceTree() = default;

DWORD CResourceTree::OpenResource(const CResourcePath& path, CResource*& resource,
                                  const CUser* /*user*/) {
  // The trees are there for who holds a supervisor; a camera may take them away from any other.
  if (!TaskAccess::ReachesTrees()) return kStatusFailed;
  return OpenFound(NodeAccess::Find(*mRoot, path.AsString()), resource);
}

CResource* CResourceTree::GetRoot() {
  return mRoot.get();
}

std::string NodeAccess::Path(const CServerResource& node) {
  std::string path = node.mName;
  const CServerResource* above = Seen(node.mParent);
  while (above != nullptr) {
    const CServerResource* const next = Seen(above->mParent);
    if (next != nullptr) path.insert(0, above->mName + ".");  // the root has no name
    above = next;
  }
  return path;
}

std::vector<CServerResource*> NodeAccess::Children(const CServerResource& node) {
  std::vector<CServerResource*> children;
  for (CServerResource* child = Seen(node.mFirstChild); child != nullptr;
       child = Seen(child->mNextSibling)) {
    children.push_back(child);
  }
  return children;
}

CServerResource* NodeAccess::Find(CServerResource& from, std::string_view path) {
  path = WithoutLeadingDot(path);
  CServerResource* node = &from;
  while (!path.empty()) {
    const std::string_view name = path.substr(0, path.find('.'));
    node = Seen(node->mFirstChild);
    while (node != nullptr && node->mName != name) node = Seen(node->mNextSibling);
    if (node == nullptr) return nullptr;
    path.remove_prefix(name.size());
    if (path == ".") return nullptr;  // a dot that names nothing
    path = WithoutLeadingDot(path);
  }
  return node;
}

DWORD NodeAccess::Write(CServerResource& node, const CResourceValue& value) {
  CResourceValue written = value;
  bool changed = false;
  return node.SetImpl(written, changed);
}

CServerResource& NodeAccess::MakeBranch(CServerResource& from, std::string_view path) {
  path = WithoutLeadingDot(path);
  CServerResource* node = &from;
  while (!path.empty()) {
    const std::string name(path.substr(0, path.find('.')));
    CServerResource* next = Find(*node, name);
    if (next == nullptr) {
      next = new CServerResource(CResourcePath(name), kBranchNode, kPlainNode);
      node->AddChild(next, nullptr);
    }
    node = next;
    path.remove_prefix(name.size());
    path = WithoutLeadingDot(path);
  }
  return *node;
}

CServerResource& NodeAccess::Add(CServerResource& parent, std::unique_ptr<CServerResource> child) {
  CServerResource& node = *child;
  parent.AddChild(child.release(), nullptr);
  return node;
}

void NodeAccess::ValueChanged(const CServerResource& node, const CResourceValue& value) {
  const CResourceTree* const tree = TreeOf(node);
  if (tree != nullptr && tree->mListener) tree->mListener(node, value);
}

bool NodeAccess::IsTest(const CServerResource& node, std::string_view path) {
  return path.starts_with("test.items.") && node.Type() == kValueNode &&
         typeid(node) != typeid(CServerResource) &&
         dynamic_cast<const CTrigResource*>(&node) == nullptr;
}

CResourceTree* NodeAccess::TreeOf(const CServerResource& node) {
  CServerResource* above = const_cast<CServerResource*>(&node);  // NOLINT: only loaded from
  while (CServerResource* const parent = Seen(above->mParent)) above = parent;
  return above->mTree;
}

bool NodeAccess::Allows(const CServerResource& node, Rule rule) {
  const CResourceTree* const tree = TreeOf(node);
  AccessRules* const rules = tree == nullptr ? nullptr : tree->mRules;
  return rules == nullptr || (rules->*rule)(Path(node));
}

bool NodeAccess::MayOpen(const CServerResource& node) {
  return Allows(node, &AccessRules::MayOpen);
}

bool NodeAccess::MayRead(const CServerResource& node) {
  return Allows(node, &AccessRules::MayRead);
}

bool NodeAccess::MayWrite(const CServerResource& node) {
  return Allows(node, &AccessRules::MayWrite);
}

}  // namespace TARQ
