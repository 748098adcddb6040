#include "tree/node.h"
#include "tree/node_impl.h"
#include "tree/node_path.h"

namespace xv::XMLParse {

XMLNodePtr CoXMLNode::FindChild(std::string_view path) const {
  const NodePath split(path);
  if (split.Bad() || split.Segments().empty()) return nullptr;
  return FindNode(split.Segments());
}

XMLNodePtr CoXMLNode::Child(std::string_view path, bool create) {
  if (!create) return FindChild(path);
  const NodePath split(path);
  if (split.Bad() || split.Segments().empty()) return nullptr;
  auto node = XMLNodePtr::Retain(this);
  for (const std::string_view text : split.Segments()) {
    const PathSegment segment = ParseSegment(text);
    XMLNodePtr child;
    {
      const WriteLock guard(node->impl_->lock);
      child = node->impl_->ChildNamed(segment.name, segment.index);
      if (!child) {
        child = Create(segment.name);
        XMLNodeImpl::AttachFresh(*node, child);
      }
    }
    node = std::move(child);
  }
  return node;
}

XMLNodePtr CoXMLNode::AppendChild(std::string_view name) {
  XMLNodePtr child = Create(name);
  const WriteLock guard(impl_->lock);
  XMLNodeImpl::AttachFresh(*this, child);
  return child;
}

Status CoXMLNode::AttachChild(const XMLNodePtr& node) {
  if (!node) return E_INVALIDARG;
  for (auto above = XMLNodePtr::Retain(this); above; above = above->Parent()) {
    if (above == node) return E_INVALIDARG;
  }
  const XMLNodePtr before = node->Parent();
  if (before) (void)before->RemoveChildNode(node.get());
  const WriteLock guard(impl_->lock);
  const WriteLock childGuard(node->impl_->lock);
  if (node->impl_->parent != nullptr) return E_UNEXPECTED;  // another thread was faster
  impl_->children.Append(node);
  node->impl_->parent = this;
  node->impl_->clone = false;
  return S_OK;
}

Status CoXMLNode::RemoveChildNode(std::string_view path) {
  const XMLNodePtr child = FindChild(path);
  const XMLNodePtr parent = child ? child->Parent() : nullptr;
  return parent ? parent->RemoveChildNode(child.get()) : Status(XV_E_NOT_FOUND);
}

Status CoXMLNode::RemoveChildNode(const CoXMLNode* child) {
  XMLNodePtr removed;  // let go outside the lock
  {
    const WriteLock guard(impl_->lock);
    const std::size_t place = impl_->PlaceOf(*child, child->Name());
    if (place == ChildList::kNone) return XV_E_NOT_FOUND;
    removed = impl_->children.AtPlace(place);
    impl_->children.Remove(place);
    const WriteLock childGuard(removed->impl_->lock);
    removed->impl_->parent = nullptr;
  }
  return S_OK;
}

XMLNodePtr CoXMLNode::Parent() const {
  {
    const ReadLock guard(impl_->lock);
    if (impl_->parent != nullptr) return XMLNodeImpl::Retain(impl_->parent);
    if (!impl_->clone) return nullptr;
  }
  // A clone's root lives while somebody holds it; the clone itself does not, since the two would
  // then keep one another alive.
  XMLNodePtr root = Create("clone");
  const WriteLock guard(impl_->lock);
  if (impl_->parent != nullptr) return XMLNodeImpl::Retain(impl_->parent);
  auto* self = const_cast<CoXMLNode*>(this);
  XMLNodeImpl::AttachFresh(*root, XMLNodePtr::Retain(self));
  return root;
}

int CoXMLNode::IndexInParent() const {
  const XMLNodePtr parent = Parent();
  if (!parent) return -1;
  const ReadLock guard(parent->impl_->lock);
  const std::size_t place = parent->impl_->PlaceOf(*this, Name());
  return place == ChildList::kNone ? -1 : static_cast<int>(parent->impl_->children.Number(place));
}

Status CoXMLNode::MoveToEnd() {
  const XMLNodePtr parent = Parent();
  if (!parent) return XV_E_NOT_FOUND;
  const WriteLock guard(parent->impl_->lock);
  ChildList& children = parent->impl_->children;
  const std::size_t place = parent->impl_->PlaceOf(*this, Name());
  if (place == ChildList::kNone) return XV_E_NOT_FOUND;
  XMLNodePtr self = children.AtPlace(place);
  children.Remove(place);
  children.Append(std::move(self));
  return S_OK;
}

std::vector<XMLNodePtr> CoXMLNode::Children() const {
  std::vector<XMLNodePtr> out;
  const ReadLock guard(impl_->lock);
  out.reserve(impl_->children.Count());
  impl_->children.ForEach([&](const XMLNodePtr& child) { out.push_back(child); });
  return out;
}

XMLNodePtr CoXMLNode::ChildAt(std::size_t index) const {
  return impl_->ReadPacked(
      [&] { return index < impl_->children.Count() ? impl_->children.At(index) : nullptr; });
}

std::size_t CoXMLNode::ChildCount() const {
  const ReadLock guard(impl_->lock);
  return impl_->children.Count();
}

}  // namespace xv::XMLParse
