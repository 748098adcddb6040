#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/ref.h"
#include "base/status.h"
#include "xvwriter/nodes.h"

// The node tree that holds every setting. Text inside is UTF-8; the interface methods convert.
//
// Paths: "a::b::c", segments may end in "[n]". Readers and writers take the path of an attribute:
// its last segment is the attribute's name in the node that the segments ahead of it name. A path
// without "::" is an attribute of this node. Names compare without regard to case.
namespace xv::XMLParse {

class CoXMLNode;
using XMLNodePtr = Ref<CoXMLNode>;

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
  int wrap = 0;    // 2: each attribute on a line of its own
};

class IXvNodeImpl;
struct XMLNodeImpl;

// One node. Thread-safety: safe; each operation holds the node's reader-writer lock for its
// duration, and readers do not block readers.
class CoXMLNode final : public IXvNode {
 public:
  static XMLNodePtr Create(std::string_view name);

  // --- reading; `path` names an attribute ---
  std::optional<std::string> FindText(std::string_view path) const;
  std::string Text(std::string_view path, std::string_view defaultValue = {}) const;
  bool Bool(std::string_view path, bool defaultValue = false) const;
  int TriState(std::string_view path, int defaultValue) const;  // 0, 1 or the default
  std::int32_t Int(std::string_view path, std::int32_t defaultValue, bool* found = nullptr) const;
  std::int64_t Int64(std::string_view path, std::int64_t defaultValue) const;
  std::uint32_t Hex(std::string_view path, std::uint32_t defaultValue, bool* found = nullptr) const;
  double Double(std::string_view path, double defaultValue, bool* found = nullptr) const;
  // "5M" and the like; the default is text too.
  std::int64_t Rate(std::string_view path, std::string_view defaultText = {}) const;
  // Index in `words` without regard to case; the default when absent or unknown.
  int ListIndex(std::string_view path, std::span<const char* const> words, int defaultValue) const;
  // A child or an attribute of that path exists.
  bool Has(std::string_view path) const;

  // --- writing; missing nodes of the path are made ---
  Status SetText(std::string_view path, std::string_view value);
  Status SetBoolean(std::string_view path, bool value);
  Status SetInteger(std::string_view path, std::int64_t value);
  Status SetNumber(std::string_view path, double value);
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
  Status RemoveChildNode(std::string_view path);
  XMLNodePtr Parent() const;
  std::vector<XMLNodePtr> Children() const;  // a snapshot
  std::size_t AttributeCount() const;
  std::vector<std::pair<std::string, std::string>> Attributes() const;  // a snapshot, in order

  // --- text ---
  // "name=value name2='value 2'". With `paths` a name may be a "::" path. `names`, if not null,
  // collects the names seen.
  void MergeText(std::string_view text, MergeMode mode, bool paths = true,
                 std::vector<std::string>* names = nullptr);
  // Attributes as one line, each behind a blank; names of `leaveOut` are skipped.
  std::string AttributeText(std::span<const char* const> leaveOut = {}) const;
  // Replaces this node (name included) by the first element of the document.
  Status ReadXml(std::string_view text, const XmlReadOptions& options = {});
  std::string WriteXml(const XmlWriteOptions& options = {}) const;

  // --- copies ---
  // A deep copy without a parent.
  XMLNodePtr DeepCopy() const;
  void CopyFrom(const CoXMLNode& source, MergeMode mode, bool withChildren);

  // --- schema ("attributes_info") ---
  // The entry of attribute `path`, from this node up through its parents until `inherit` is false.
  XMLNodePtr FindInfo(std::string_view path) const;
  XMLNodePtr SchemaNode(bool create);

  // --- IUnknown, IXvAttributes, IXvNode: see xvwriter/nodes.h ---
#include "props/node_interface.inc"

 private:
  friend struct XMLNodeImpl;
  explicit CoXMLNode(std::string_view name);
  ~CoXMLNode();

  std::unique_ptr<XMLNodeImpl> impl_;
};

}  // namespace xv::XMLParse
