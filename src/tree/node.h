#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/ref.h"
#include "base/ref_count.h"
#include "base/status.h"
#include "tree/attribute.h"
#include "xvwriter/nodes.h"

// The node tree that holds every setting. Text inside is UTF-8; the interface methods convert.
//
// Paths: "a::b::c", segments may end in "[n]". Readers and writers take the path of an attribute:
// its last segment is the attribute's name in the node that the segments ahead of it name. A path
// without "::" is an attribute of this node. Names compare without regard to case.
namespace xv::XMLParse {

class CoXMLNode;
using XMLNodePtr = Ref<CoXMLNode>;

// The most elements and attributes that are read from one text: about 1 GiB of nodes.
inline constexpr std::size_t kMaxItems = 4'000'000;

// How a text merges into attributes that are there.
enum class MergeMode : std::int32_t { kAddAbsent = 0, kReplace = 1, kClearFirst = 2 };

// What PropsSet makes of a value: searches for "=" and "<" look outside quotes.
enum class ValueClass { kClear, kPlain, kAttributes, kXml };
ValueClass ClassifyValue(std::string_view value);

struct XmlReadOptions {
  bool keepOuterBlanks = false;  // do not trim the text between tags
  bool keepControls = false;     // do not turn CR, LF and TAB inside values into blanks
};

struct XmlWriteOptions {
  int level = -1;  // starting indent in tabs; negative: no indentation and no line ends
  int wrap = 0;    // 2: each attribute on its own line
  // XML 1.0 for any reader: begins with the XML declaration; what a name may not hold stands as
  // "_x0030_" (the escapes of ISO/IEC 9075-14), what a value may not hold as a reference. A
  // character that XML has no way to write becomes U+FFFD.
  bool wellFormed = false;
};

// What a text of attributes holds that cannot have been meant.
struct TextFaults {
  static constexpr std::size_t kMostPaths = 32;
  std::string openQuote;              // path of the attribute whose quote is never closed; "": none
  std::vector<std::string> badPaths;  // names like "a::::b", when replacing; the first ones
};

struct XMLNodeImpl;

// One node. Thread-safety: safe; each operation holds the node's reader-writer lock for its
// duration, and readers do not block readers.
class CoXMLNode final : public IXvNode {
 public:
  // Tells a node of this library from another one's: QueryInterface gives the object itself.
  static constexpr Guid kMarker{
      0x1b9f4c1d, 0x8a55, 0x4c0e, {0x9d, 0x37, 0x60, 0x0c, 0xe2, 0x5f, 0x6b, 0x12}};

  // A node without a parent.
  static XMLNodePtr Create(std::string_view name);

  // --- reading by key; this is the node that holds the attribute ---
  // Nothing when it is absent, or a text that stands for the default.
  template <class T>
  auto Find(const Attribute<T>& key) const {
    const auto text = FindText(key.name);
    return text ? Attribute<T>::Type::Read(*text, key.limits) : std::nullopt;
  }
  // Of a key "name.N": the attribute of one track.
  template <class T>
  auto Find(const Attribute<T>& key, int track) const {
    const auto text = FindText(TrackName(key, track));
    return text ? Attribute<T>::Type::Read(*text, key.limits) : std::nullopt;
  }
  template <class T>
  auto Get(const Attribute<T>& key) const {
    return Find(key).value_or(key.Default());
  }
  // The text as it stands; "" when it is absent.
  std::string TextOf(const AttributeRow& key) const { return Text(key.name); }
  bool Has(const AttributeRow& key) const { return FindText(key.name).has_value(); }

  // --- reading; `path` names an attribute ---
  std::optional<std::string> FindText(std::string_view path) const;
  std::string Text(std::string_view path, std::string_view defaultValue = {}) const;
  bool Bool(std::string_view path, bool defaultValue = false) const;
  std::int32_t Int(std::string_view path, std::int32_t defaultValue, bool* found = nullptr) const;
  double Double(std::string_view path, double defaultValue, bool* found = nullptr) const;
  // A child or an attribute of that path exists.
  bool Has(std::string_view path) const;

  // --- writing; missing nodes of the path are made ---
  Status SetText(std::string_view path, std::string_view value);
  Status SetBoolean(std::string_view path, bool value);
  Status SetInteger(std::string_view path, std::int64_t value);
  Status SetNumber(std::string_view path, double value);
  // Sets this node's attribute of exactly that name, "::" in it or not.
  void SetAttribute(std::string_view name, std::string_view value);
  // Leaves an attribute that exists, even with an empty text. True when it was set.
  bool SetTextIfAbsent(std::string_view path, std::string_view value);
  // Removes an attribute; XV_E_NOT_FOUND when absent.
  Status RemoveAttribute(std::string_view path);
  void ClearAttributes();
  void ClearChildren();
  void Clear();  // value, attributes and children

  // --- structure ---
  std::string Name() const;
  void Rename(std::string_view name);
  std::string Value() const;  // the text between the tags
  void SetValue(std::string_view value);
  // The child node of `path`; made when missing and `create` is set, else null.
  XMLNodePtr Child(std::string_view path, bool create);
  XMLNodePtr FindChild(std::string_view path) const;
  XMLNodePtr AppendChild(std::string_view name);
  // Attaches `node` at the end of the children; it leaves the parent that it had. E_INVALIDARG for
  // this node itself and for one of its ancestors.
  Status AttachChild(const XMLNodePtr& node);
  Status RemoveChildNode(std::string_view path);
  // Removes exactly this child; XV_E_NOT_FOUND when it is not one.
  Status RemoveChildNode(const CoXMLNode* child);
  XMLNodePtr Parent() const;
  // This node's position among its parent's children, or -1.
  int IndexInParent() const;
  // Moves this node to the end of its parent's children; XV_E_NOT_FOUND without a parent.
  Status MoveToEnd();
  std::vector<XMLNodePtr> Children() const;  // a snapshot
  XMLNodePtr ChildAt(std::size_t index) const;
  std::size_t ChildCount() const;
  // A view of another tree: writers of XML leave it out.
  void SetHold(bool hold);
  std::size_t AttributeCount() const;
  std::vector<std::pair<std::string, std::string>> Attributes() const;  // a snapshot, in order
  // The attribute of that number; nothing past the end.
  std::optional<std::pair<std::string, std::string>> AttributeAt(std::size_t index) const;

  // --- text ---
  // "name=value name2='value 2'". With `paths` a name may be a "::" path. `faults`, if not null,
  // gets what is wrong with the text; the rest merges all the same.
  void MergeText(std::string_view text, MergeMode mode, bool paths = true,
                 TextFaults* faults = nullptr);
  // MergeText with its result: E_OUTOFMEMORY when the text holds more than kMaxItems attributes;
  // those ahead of the limit are in.
  Status TryMergeText(std::string_view text, MergeMode mode, bool paths = true,
                      TextFaults* faults = nullptr);
  // Attributes as one line, each behind a blank and its name behind `prefix`; names of `leaveOut`
  // are skipped. Without a prefix the value of a childless node is one of them.
  std::string AttributeText(std::span<const char* const> leaveOut = {},
                            std::string_view prefix = {}) const;
  // Replaces this node (name included) by the first element of the document. A document that begins
  // with the XML declaration is read as XmlWriteOptions::wellFormed writes it: names without their
  // escapes, references expanded in attribute values too, where an unknown one stays as it is.
  // Nothing in a document is an error but its being empty (E_INVALIDARG; the node is cleared then
  // too) or holding more than kMaxItems elements and attributes (E_OUTOFMEMORY; the node holds what
  // came before).
  Status ReadXml(std::string_view text, const XmlReadOptions& options = {});
  std::string WriteXml(const XmlWriteOptions& options = {}) const;
  // Replaces the value, or the children where `text` has mark-up or there are children.
  Status ReplaceContent(std::string_view text);

  // --- copies ---
  // A deep copy without a parent.
  XMLNodePtr DeepCopy() const;
  // A deep copy whose parent, whenever it is asked for, is a root named "clone".
  XMLNodePtr DeepClone() const;
  // Children are matched by name and by their number among those of that name.
  void CopyFrom(const CoXMLNode& source, MergeMode mode, bool withChildren);

  // Takes value, attributes and children out of `source`, which nobody else may hold. The name
  // stays.
  void TakeContent(CoXMLNode& source);

  // --- schema ("attributes_info") ---
  // The entry of attribute `path`, from this node up through its parents until `inherit` is false.
  XMLNodePtr FindInfo(std::string_view path) const;
  XMLNodePtr SchemaNode(bool create);
  // The words that this schema entry allows: its "values", or those of the entry that its
  // "select_from" names, searched among its own children first, then beside it.
  std::optional<std::string> EntryValues() const;
  // EntryValues of the schema entry of `path`.
  std::optional<std::string> InfoValues(std::string_view path) const;
  // `key` of the schema entry of `path`; "" is its description, "values" follows "select_from".
  std::optional<std::string> InfoValue(std::string_view path, std::string_view key) const;

  // --- IUnknown ---
  HRESULT QueryInterface(const Guid& iid, void** out) noexcept override;
  std::uint32_t AddRef() noexcept override;
  std::uint32_t Release() noexcept override;

  // --- IXvAttributes: text is converted in these and nowhere else, and nothing throws past them
  // ---
  HRESULT GetCount(std::int32_t* count) noexcept override;
  HRESULT GetByIndex(std::int32_t index, char16_t** name, char16_t** value) noexcept override;
  HRESULT Remove(const char16_t* name) noexcept override;
  HRESULT RemoveAll() noexcept override;
  HRESULT SetString(const char16_t* name, const char16_t* value) noexcept override;
  HRESULT SetBool(const char16_t* name, std::int32_t value) noexcept override;
  HRESULT SetInt(const char16_t* name, std::int32_t value) noexcept override;
  HRESULT SetDouble(const char16_t* name, double value) noexcept override;
  HRESULT GetStringEx(const char16_t* name, std::int32_t* found,
                      char16_t** value) noexcept override;
  HRESULT GetString(const char16_t* name, char16_t** value) noexcept override;
  HRESULT GetInt(const char16_t* name, std::int32_t* value) noexcept override;
  HRESULT GetBool(const char16_t* name, std::int32_t* value) noexcept override;
  HRESULT GetDouble(const char16_t* name, double* value) noexcept override;
  HRESULT FromText(const char16_t* text, std::int32_t mode) noexcept override;
  HRESULT ToText(char16_t** text) noexcept override;
  HRESULT CopyAs(IXvAttributes** out) noexcept override;
  HRESULT CopyFrom(IXvAttributes* source, std::int32_t mode) noexcept override;
  HRESULT GetInfo(IXvNode** out) noexcept override;
  HRESULT GetInfoOf(std::int32_t index, IXvNode** out) noexcept override;
  HRESULT SetInfo(const char16_t* name, const char16_t* type, const char16_t* defaultValue,
                  IXvNode** out) noexcept override;
  HRESULT GetInfoValue(const char16_t* name, const char16_t* key, const char16_t* defaultValue,
                       char16_t** value) noexcept override;

  // --- IXvNode ---
  HRESULT GetName(char16_t** name) noexcept override;
  HRESULT SetName(const char16_t* name) noexcept override;
  HRESULT GetXML(char16_t** text) noexcept override;
  HRESULT SetXML(const char16_t* text) noexcept override;
  HRESULT GetParent(IXvNode** parent, std::int32_t* index) noexcept override;
  HRESULT GetRoot(IXvNode** root) noexcept override;
  HRESULT Detach() noexcept override;
  HRESULT GetIndex(std::int32_t* index) noexcept override;
  HRESULT GetChild(std::int32_t index, char16_t** name, IXvNode** child) noexcept override;
  HRESULT GetChildByName(const char16_t* path, const char16_t* defaultValue,
                         IXvNode** child) noexcept override;
  HRESULT GetChildByPath(const char16_t* path, std::int32_t create,
                         IXvNode** child) noexcept override;
  HRESULT RemoveChild(const char16_t* path) noexcept override;
  HRESULT RemoveChildren() noexcept override;
  HRESULT FromXML(const char16_t* text, std::int32_t flags) noexcept override;
  HRESULT ToXML(char16_t** text) noexcept override;
  HRESULT Clone(IXvNode** out) noexcept override;
  HRESULT Merge(IXvNode* source, std::int32_t mode) noexcept override;
  HRESULT GetAttributeInfo(const char16_t* path, IXvNode** out) noexcept override;

 private:
  friend struct XMLNodeImpl;
  explicit CoXMLNode(std::string_view name);
  ~CoXMLNode();

  XMLNodePtr FindNode(std::span<const std::string_view> segments) const;
  Status Store(std::string_view path, const class XMLValue& value);

  RefCount count_{1};
  const std::unique_ptr<XMLNodeImpl> impl_;
};

// A node named `name` out of attribute text, or out of XML, which names it anew, where the text
// begins with a tag. Results are those of TryMergeText and ReadXml.
Status NodeFromText(std::string_view name, std::string_view text, XMLNodePtr* out);

// The node's and its children's attributes as one attribute text, those of children as "a::b=5M".
// Names of `leaveOut` are skipped.
std::string TextOfTree(const CoXMLNode& node, std::span<const char* const> leaveOut = {},
                       const std::string& prefix = {});

// The node behind an interface pointer, or null when another library implements it.
XMLNodePtr NodeOf(IUnknown* object);

}  // namespace xv::XMLParse
