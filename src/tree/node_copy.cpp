#include <unordered_map>

#include "base/text.h"
#include "tree/node.h"
#include "tree/node_impl.h"

namespace xv::XMLParse {
namespace {

// A copy of the node without its children; `children`, if not null, gets those.
XMLNodePtr CopyOne(const CoXMLNode& source, std::vector<XMLNodePtr>* children) {
  XMLNodePtr copy = CoXMLNode::Create({});
  XMLNodeImpl& to = XMLNodeImpl::Of(*copy);
  const XMLNodeImpl& from = XMLNodeImpl::Of(source);
  const ReadLock guard(from.lock);
  to.name = from.name;
  to.value = from.value;
  to.attributes.CopyFrom(from.attributes);
  if (children != nullptr) {
    from.children.ForEach([&](const XMLNodePtr& child) { children->push_back(child); });
  }
  return copy;
}

// Gives the n-th child of a name, n counting up with each question for that name.
class ChildMatcher {
 public:
  explicit ChildMatcher(const std::vector<XMLNodePtr>& children) {
    for (const XMLNodePtr& child : children) byName_[ToLower(child->Name())].push_back(child);
  }
  XMLNodePtr Next(const std::string& name) {
    const std::string key = ToLower(name);
    const auto found = byName_.find(key);
    const std::size_t number = asked_[key]++;
    if (found == byName_.end() || number >= found->second.size()) return nullptr;
    return found->second[number];
  }

 private:
  std::unordered_map<std::string, std::vector<XMLNodePtr>> byName_;
  std::unordered_map<std::string, std::size_t> asked_;
};

void MergeOwn(CoXMLNode& source, CoXMLNode& target, MergeMode mode) {
  const XMLNodeImpl& from = XMLNodeImpl::Of(source);
  XMLNodeImpl& to = XMLNodeImpl::Of(target);
  const WriteLock guard(to.lock);
  if (mode == MergeMode::kClearFirst) to.attributes.Clear();
  const bool absentOnly = mode == MergeMode::kAddAbsent;
  from.attributes.ForEach(
      [&](const XMLAttribute& one) { to.attributes.Set(one.name, one.value, absentOnly); });
  const bool hasValue = !from.value.Text().empty();
  const bool wants = absentOnly ? to.value.Text().empty() : hasValue;
  if (wants || mode == MergeMode::kClearFirst) to.value = from.value;
}

}  // namespace

XMLNodePtr CoXMLNode::DeepCopy() const {
  struct Pending {
    XMLNodePtr copy;
    std::vector<XMLNodePtr> children;  // of the source
  };
  std::vector<XMLNodePtr> children;
  XMLNodePtr root = CopyOne(*this, &children);
  std::vector<Pending> pending;
  pending.push_back({root, std::move(children)});
  while (!pending.empty()) {
    const Pending now = std::move(pending.back());
    pending.pop_back();
    for (const XMLNodePtr& child : now.children) {
      XMLNodePtr copy = CopyOne(*child, &children);
      XMLNodeImpl::AttachFresh(*now.copy, copy);
      if (!children.empty()) pending.push_back({std::move(copy), std::move(children)});
      children.clear();
    }
  }
  return root;
}

XMLNodePtr CoXMLNode::DeepClone() const {
  XMLNodePtr copy = DeepCopy();
  copy->impl_->clone = true;
  return copy;
}

void CoXMLNode::TakeContent(CoXMLNode& source) { XMLNodeImpl::MoveContent(source, *this, true); }

void CoXMLNode::CopyFrom(const CoXMLNode& source, MergeMode mode, bool withChildren) {
  // The source is copied first: no two locks are held at once, and a node may be copied into its
  // own descendant.
  const XMLNodePtr copy = withChildren ? source.DeepCopy() : CopyOne(source, nullptr);
  struct Pair {
    XMLNodePtr from;
    XMLNodePtr to;
  };
  std::vector<Pair> pending{{copy, XMLNodePtr::Retain(this)}};
  if (mode == MergeMode::kClearFirst && withChildren) ClearChildren();
  while (!pending.empty()) {
    const Pair now = std::move(pending.back());
    pending.pop_back();
    MergeOwn(*now.from, *now.to, mode);
    const ChildList children = std::exchange(now.from->impl_->children, {});
    if (children.Empty()) continue;
    ChildMatcher matcher(now.to->Children());
    children.ForEach([&](const XMLNodePtr& child) {
      child->impl_->parent = nullptr;
      if (XMLNodePtr match = matcher.Next(child->impl_->name)) {
        pending.push_back({child, std::move(match)});
        return;
      }
      const WriteLock guard(now.to->impl_->lock);
      XMLNodeImpl::AttachFresh(*now.to, child);
    });
  }
}

}  // namespace xv::XMLParse
