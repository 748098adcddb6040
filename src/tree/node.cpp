#include "tree/node.h"

#include "base/auto_obj_base.h"
#include "base/text.h"
#include "tree/node_impl.h"
#include "tree/node_path.h"

namespace xv::XMLParse {

// --- life ---

CoXMLNode::CoXMLNode(std::string_view name) : impl_(std::make_unique<XMLNodeImpl>()) {
  impl_->name = name;
  LiveObjectCount().fetch_add(1, std::memory_order_relaxed);
}

CoXMLNode::~CoXMLNode() {
  XMLNodeImpl::Orphan(impl_->children);
  LiveObjectCount().fetch_sub(1, std::memory_order_relaxed);
}

XMLNodePtr CoXMLNode::Create(std::string_view name) {
  return XMLNodePtr::Adopt(new CoXMLNode(name));
}

HRESULT CoXMLNode::QueryInterface(const Guid& iid, void** out) noexcept {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (iid == IUnknown::kIid || iid == IXvAttributes::kIid || iid == IXvNode::kIid) {
    *out = static_cast<IXvNode*>(this);
  } else if (iid == kMarker) {
    *out = this;
  } else {
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

std::uint32_t CoXMLNode::AddRef() noexcept { return count_.Retain(); }

std::uint32_t CoXMLNode::Release() noexcept {
  const std::uint32_t left = count_.Release();
  if (left > 0) return left;
  // Deleting a node releases its children. They wait in a list for this thread's outermost Release,
  // so that the depth of a tree does not become the depth of the stack.
  static thread_local CoXMLNode* waiting = nullptr;
  static thread_local bool deleting = false;
  if (deleting) {
    impl_->parent = waiting;
    waiting = this;
    return 0;
  }
  deleting = true;
  for (CoXMLNode* node = this; node != nullptr;) {
    delete node;
    node = waiting;
    if (node != nullptr) waiting = node->impl_->parent;
  }
  deleting = false;
  return 0;
}

XMLNodePtr NodeOf(IUnknown* object) {
  void* out = nullptr;
  if (object == nullptr || xv::Failed(object->QueryInterface(CoXMLNode::kMarker, &out))) {
    return nullptr;
  }
  return XMLNodePtr::Adopt(static_cast<CoXMLNode*>(out));
}

// --- state ---

XMLNodePtr XMLNodeImpl::Retain(CoXMLNode* node) {
  if (node == nullptr) return nullptr;
  return node->count_.TryRetain() ? XMLNodePtr::Adopt(node) : nullptr;
}

XMLNodePtr XMLNodeImpl::ChildNamed(std::string_view childName, std::size_t index) const {
  const std::size_t place = children.Find(childName, index);
  return place == ChildList::kNone ? nullptr : children.AtPlace(place);
}

void XMLNodeImpl::AttachFresh(CoXMLNode& parent, XMLNodePtr child) {
  XMLNodeImpl& impl = Of(*child);
  Of(parent).children.Append(std::move(child));
  impl.parent = &parent;
}

void XMLNodeImpl::Orphan(const ChildList& children) {
  children.ForEach([](const XMLNodePtr& child) {
    const WriteLock guard(Of(*child).lock);
    Of(*child).parent = nullptr;
  });
}

std::size_t XMLNodeImpl::PlaceOf(const CoXMLNode& child, std::string_view childName) const {
  return children.FindIf(childName, [&](const XMLNodePtr& one) { return one.get() == &child; });
}

void XMLNodeImpl::MoveContent(CoXMLNode& source, CoXMLNode& target, bool withAttributes) {
  ChildList old;
  {
    XMLNodeImpl& from = Of(source);
    XMLNodeImpl& to = Of(target);
    const WriteLock guard(to.lock);
    to.value = std::move(from.value);
    from.value = {};
    if (withAttributes) {
      to.attributes = std::move(from.attributes);
      from.attributes.Clear();
    }
    old = std::exchange(to.children, std::move(from.children));
    from.children.Clear();
    to.children.ForEach([&](const XMLNodePtr& child) { Of(*child).parent = &target; });
  }
  Orphan(old);
}

// --- reading ---

XMLNodePtr CoXMLNode::FindNode(std::span<const std::string_view> segments) const {
  auto node = XMLNodePtr::Retain(const_cast<CoXMLNode*>(this));
  for (const std::string_view text : segments) {
    const PathSegment segment = ParseSegment(text);
    XMLNodePtr child;
    {
      const ReadLock guard(node->impl_->lock);
      child = node->impl_->ChildNamed(segment.name, segment.index);
    }
    if (!child) return nullptr;
    node = std::move(child);
  }
  return node;
}

namespace {

// What `read` makes of the attribute's value, under the node's lock; nothing when it is absent.
template <class Read>
auto ReadAttribute(const CoXMLNode& node, std::string_view name, Read&& read)
    -> std::optional<decltype(read(std::declval<const XMLValue&>()))> {
  const XMLNodeImpl& impl = XMLNodeImpl::Of(node);
  const ReadLock guard(impl.lock);
  const XMLValue* value = impl.attributes.FindValue(name);
  if (value == nullptr) return std::nullopt;
  return read(*value);
}

template <class Read>
auto ReadPath(const CoXMLNode& node, std::string_view path, Read&& read)
    -> decltype(ReadAttribute(node, path, read)) {
  const SplitPath split = SplitLast(path);
  if (!split.nodes) return ReadAttribute(node, path, read);
  const XMLNodePtr holder = node.FindChild(*split.nodes);
  if (!holder) return std::nullopt;
  return ReadAttribute(*holder, split.last, read);
}

template <class T>
std::optional<T> ReadAs(const CoXMLNode& node, std::string_view path) {
  return ReadPath(node, path, [](const XMLValue& value) { return value.Read<T>(); });
}

template <class T>
T ReadOr(const CoXMLNode& node, std::string_view path, T defaultValue, bool* found = nullptr) {
  const std::optional<T> value = ReadAs<T>(node, path);
  if (found != nullptr) *found = value.has_value();
  return value.value_or(defaultValue);
}

}  // namespace

std::optional<std::string> CoXMLNode::FindText(std::string_view path) const {
  return ReadPath(*this, path, [](const XMLValue& value) { return value.Text(); });
}

std::string CoXMLNode::Text(std::string_view path, std::string_view defaultValue) const {
  std::optional<std::string> text = FindText(path);
  return text ? std::move(*text) : std::string(defaultValue);
}

bool CoXMLNode::Bool(std::string_view path, bool defaultValue) const {
  return ReadOr(*this, path, defaultValue);
}

std::int32_t CoXMLNode::Int(std::string_view path, std::int32_t defaultValue, bool* found) const {
  return ReadOr(*this, path, defaultValue, found);
}

double CoXMLNode::Double(std::string_view path, double defaultValue, bool* found) const {
  return ReadOr(*this, path, defaultValue, found);
}

bool CoXMLNode::Has(std::string_view path) const {
  return FindChild(path) || FindText(path).has_value();
}

std::string CoXMLNode::Name() const {
  const ReadLock guard(impl_->lock);
  return impl_->name;
}

std::string CoXMLNode::Value() const {
  const ReadLock guard(impl_->lock);
  return impl_->value.Text();
}

std::size_t CoXMLNode::AttributeCount() const {
  const ReadLock guard(impl_->lock);
  return impl_->attributes.Count();
}

std::vector<std::pair<std::string, std::string>> CoXMLNode::Attributes() const {
  std::vector<std::pair<std::string, std::string>> out;
  const ReadLock guard(impl_->lock);
  out.reserve(impl_->attributes.Count());
  impl_->attributes.ForEach(
      [&](const XMLAttribute& one) { out.emplace_back(one.name, one.value.Text()); });
  return out;
}

std::optional<std::pair<std::string, std::string>> CoXMLNode::AttributeAt(std::size_t index) const {
  return impl_->ReadPacked([&]() -> std::optional<std::pair<std::string, std::string>> {
    if (index >= impl_->attributes.Count()) return std::nullopt;
    const XMLAttribute& one = impl_->attributes.At(index);
    return std::pair{one.name, one.value.Text()};
  });
}

// --- writing ---

Status CoXMLNode::Store(std::string_view path, const XMLValue& value) {
  const SplitPath split = SplitLast(path);
  if (split.last.empty()) return E_INVALIDARG;
  const XMLNodePtr holder = split.nodes ? Child(*split.nodes, true) : XMLNodePtr::Retain(this);
  if (!holder) return E_INVALIDARG;
  const WriteLock guard(holder->impl_->lock);
  holder->impl_->attributes.Set(split.last, value);
  return S_OK;
}

Status CoXMLNode::SetText(std::string_view path, std::string_view value) {
  return Store(path, XMLValue(value));
}

void CoXMLNode::SetAttribute(std::string_view name, std::string_view value) {
  const WriteLock guard(impl_->lock);
  impl_->attributes.Set(name, XMLValue(value));
}

Status CoXMLNode::SetBoolean(std::string_view path, bool value) {
  return Store(path, XMLValue::OfBool(value));
}

Status CoXMLNode::SetInteger(std::string_view path, std::int64_t value) {
  return Store(path, XMLValue::OfInteger(value));
}

Status CoXMLNode::SetNumber(std::string_view path, double value) {
  return Store(path, XMLValue::OfNumber(value));
}

bool CoXMLNode::SetTextIfAbsent(std::string_view path, std::string_view value) {
  if (path.empty() || NodePath(path).Bad()) return false;
  const SplitPath split = SplitLast(path);
  const XMLNodePtr holder = split.nodes ? Child(*split.nodes, true) : XMLNodePtr::Retain(this);
  const WriteLock guard(holder->impl_->lock);
  return holder->impl_->attributes.Set(split.last, XMLValue(value), true);
}

Status CoXMLNode::RemoveAttribute(std::string_view path) {
  const SplitPath split = SplitLast(path);
  const XMLNodePtr holder = split.nodes ? FindChild(*split.nodes) : XMLNodePtr::Retain(this);
  if (!holder) return XV_E_NOT_FOUND;
  const WriteLock guard(holder->impl_->lock);
  const bool removed = holder->impl_->attributes.RemoveNamed(split.last);
  return removed ? S_OK : XV_E_NOT_FOUND;
}

void CoXMLNode::ClearAttributes() {
  const WriteLock guard(impl_->lock);
  impl_->attributes.Clear();
}

void CoXMLNode::ClearChildren() {
  ChildList old;
  {
    const WriteLock guard(impl_->lock);
    old = std::exchange(impl_->children, {});
  }
  XMLNodeImpl::Orphan(old);
}

void CoXMLNode::Clear() {
  const XMLNodePtr nothing = Create({});
  XMLNodeImpl::MoveContent(*nothing, *this, true);
}

void CoXMLNode::Rename(std::string_view name) {
  while (true) {
    XMLNodePtr parent;
    bool alone = false;
    {
      const ReadLock guard(impl_->lock);
      parent = XMLNodeImpl::Retain(impl_->parent);
      alone = impl_->parent == nullptr;
    }
    const WriteLock parentGuard = parent ? WriteLock(parent->impl_->lock) : WriteLock();
    const WriteLock guard(impl_->lock);
    const bool unchanged =
        parent ? impl_->parent == parent.get() : alone == (impl_->parent == nullptr);
    if (!unchanged) continue;
    const auto change = [&] { impl_->name = name; };
    if (!parent) return change();
    return parent->impl_->children.Rename(parent->impl_->PlaceOf(*this, impl_->name), change);
  }
}

void CoXMLNode::SetValue(std::string_view value) {
  const WriteLock guard(impl_->lock);
  impl_->value = XMLValue(value);
}

void CoXMLNode::SetHold(bool hold) {
  const WriteLock guard(impl_->lock);
  impl_->hold = hold;
}

}  // namespace xv::XMLParse
