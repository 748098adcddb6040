#pragma once

#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "tree/attributes_map.h"
#include "tree/node.h"

namespace xv::XMLParse {

using ReadLock = std::shared_lock<std::shared_mutex>;
using WriteLock = std::unique_lock<std::shared_mutex>;

struct ChildTraits {
  // The child's name, under the parent's lock.
  static const std::string& Name(const XMLNodePtr& child);
  static bool IsHole(const XMLNodePtr& child) { return !child; }
  static void MakeHole(XMLNodePtr& child) { child = nullptr; }
};
using ChildList = NamedList<XMLNodePtr, ChildTraits>;

// The state of a node. `lock` guards everything here, `parent` included; a node's lock is taken
// below its parent's. The name is read under the node's lock or its parent's, and written under
// both. Whoever builds a tree that nobody else sees yet needs no lock.
struct XMLNodeImpl {
  std::string name;
  XMLValue value;  // the text between the tags
  bool hold = false;
  bool clone = false;  // without a parent it has a root "clone", made when it is asked for
  ObjectsMap attributes;
  ChildList children;
  CoXMLNode* parent = nullptr;  // not counted; of a dying node the next one to be deleted
  mutable std::shared_mutex lock;

  static XMLNodeImpl& Of(const CoXMLNode& node) { return *node.impl_; }
  // The one way to take a reference on a node that may be on its way out: null when it is.
  static XMLNodePtr Retain(CoXMLNode* node);

  // The n-th child of that name, or null.
  XMLNodePtr ChildNamed(std::string_view childName, std::size_t index = 0) const;
  // Appends a node that has no parent and is not shared yet.
  static void AttachFresh(CoXMLNode& parent, XMLNodePtr child);
  // Moves value, attributes and children of `source`, which nobody else sees, into `target`.
  static void MoveContent(CoXMLNode& source, CoXMLNode& target, bool withAttributes);
  // Cuts the children off that were taken out of a node.
  static void Orphan(const ChildList& children);
  // The place of a child of that name; kNone for any other node.
  std::size_t PlaceOf(const CoXMLNode& child, std::string_view childName) const;
  // What `read` makes of the state, under the lock and with lists that have no holes: for reading
  // by number.
  template <class Read>
  auto ReadPacked(Read&& read) {
    {
      const ReadLock guard(lock);
      if (!attributes.HasHoles() && !children.HasHoles()) return read();
    }
    const WriteLock guard(lock);
    attributes.Pack();
    children.Pack();
    return read();
  }
};

inline const std::string& ChildTraits::Name(const XMLNodePtr& child) {
  return XMLNodeImpl::Of(*child).name;
}

// For out parameters: XV_E_NOT_FOUND for a null node.
inline Status GiveNode(XMLNodePtr node, IXvNode** out) {
  if (!node) return XV_E_NOT_FOUND;
  *out = node.Detach();
  return S_OK;
}

inline constexpr std::string_view kSchemaName = "attributes_info";

}  // namespace xv::XMLParse
