// The desk's own way to the nodes: for what serves clients, drives nodes and watches over the
// program. None of it is recorded or refused as the program's own calls are.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common_dll.h"

namespace TARQ {

inline CResourceValue DoubleValue(double number) {
  CResourceValue value(ValueType::Double);
  value.Set(number);
  return value;
}

// The attributes of a node that is published as it is.
constexpr DWORD kPlainNode = 0x80000000;

// Which of the program's calls on the camera-wide tree are to fail.
class AccessRules {
 public:
  virtual ~AccessRules() = default;
  // Canonical paths: no leading dot.
  virtual bool MayOpen(const std::string& path) const = 0;
  virtual bool MayRead(const std::string& path) const = 0;
  virtual bool MayWrite(const std::string& path) const = 0;
};

class NodeAccess {
 public:
  static CServerResource& Root(CResourceTree& tree) { return *tree.mRoot; }
  static const CServerResource& Root(const CResourceTree& tree) { return *tree.mRoot; }
  static void SetRules(CResourceTree& tree, AccessRules* rules) { tree.mRules = rules; }
  // Told of every value of the tree that has become another one, on the thread that stored it. Set
  // before the tree is used.
  using Listener = std::function<void(const CServerResource& node, const CResourceValue& value)>;
  static void SetListener(CResourceTree& tree, Listener listener) {
    tree.mListener = std::move(listener);
  }
  static void ValueChanged(const CServerResource& node, const CResourceValue& value);

  static const std::string& Name(const CServerResource& node) { return node.mName; }
  static std::string Path(const CServerResource& node);
  static std::vector<CServerResource*> Children(const CServerResource& node);
  static CServerResource* Find(CServerResource& from, std::string_view path);
  static int OpenCount(const CServerResource& node) { return node.mOpenCount; }

  // The stored value, without a read of the node.
  static CResourceValue Stored(const CServerResource& node) { return node.mValue; }
  static void Store(CServerResource& node, const CResourceValue& value) {
    node.mValue.Set(value, false);
  }
  // A client's write and read.
  static DWORD Write(CServerResource& node, const CResourceValue& value);
  static DWORD Read(CServerResource& node, CResourceValue& value) { return node.GetImpl(value); }

  // The branch of that path, made with all above it where it is missing.
  static CServerResource& MakeBranch(CServerResource& from, std::string_view path);
  static CServerResource& Add(CServerResource& parent, std::unique_ptr<CServerResource> child);

  // Whether it is a test item, whose writes run a test: a value of the program's tree below the
  // items, of a class of the program's own.
  static bool IsTest(const CServerResource& node, std::string_view path);

  // What the program's own calls ask.
  static CResourceTree* TreeOf(const CServerResource& node);
  static bool MayOpen(const CServerResource& node);
  static bool MayRead(const CServerResource& node);
  static bool MayWrite(const CServerResource& node);

 private:
  using Rule = bool (AccessRules::*)(const std::string&) const;
  static bool Allows(const CServerResource& node, Rule rule);
};

}  // namespace TARQ
