#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "props/object_val.h"
#include "xvwriter/writer.h"

namespace xv {

inline constexpr std::string_view kPropsNodeName = "xv-props";

// What stands behind the property interface of every owner: how a name and a value reach the tree.
// The operations are those of IXvProps. Thread-safety: the operations are safe on any thread; the
// hooks are set before the first of them runs.
class PropsCore {
 public:
  // Gives the catalogue as XML. Called without a lock.
  using ListRead = std::function<Status(std::string* xml)>;
  // A value that is computed when it is read, by the name behind "quality::"; nothing for a name
  // that it does not know.
  using QualityRead = std::function<std::optional<std::string>(std::string_view name)>;
  // The names that QualityRead knows now. Their order stays; new ones come behind the others.
  using QualityNames = std::function<std::vector<std::string>()>;

  // The schema entry of a path of the list, which follows the list's own links; null where it has
  // none. Called without a lock.
  using ListInfo = std::function<XMLParse::XMLNodePtr(std::string_view path)>;

  // With its own node "xv-props".
  PropsCore();
  // Shares the tree of another owner. A null holder is an object without a tree: every operation
  // gives E_FAIL.
  explicit PropsCore(Ref<ObjectVal> holder) : holder_(std::move(holder)) {}

  // Null when the object has no tree.
  XMLParse::XMLNodePtr Node() const { return holder_ ? holder_->Node() : nullptr; }
  std::string LastName() const;

  void SetListRead(ListRead read, ListInfo info = {}) {
    listRead_ = std::move(read);
    listInfo_ = std::move(info);
  }
  // Such a value shadows one of the tree; the operations that walk show them as attributes of a
  // child "quality" behind the tree's own children.
  void SetQualityRead(QualityRead read, QualityNames names = {}) {
    qualityRead_ = std::move(read);
    qualityNames_ = std::move(names);
  }
  // Asked by reads for what is found nowhere else; null for none.
  void SetForward(Ref<IXvProps> forward);

  HRESULT Set(const char16_t* name, const char16_t* value) noexcept;
  HRESULT Get(const char16_t* name, char16_t** value) noexcept;
  HRESULT GetCount(const char16_t* node, std::int32_t* count) noexcept;
  HRESULT GetByIndex(const char16_t* node, std::int32_t index, char16_t** name, char16_t** value,
                     std::int32_t* hasChildren) noexcept;
  HRESULT Remove(const char16_t* name) noexcept;
  HRESULT HasChild(const char16_t* name, std::int32_t index, std::int32_t* hasChild) noexcept;
  HRESULT InfoGetCount(const char16_t* path, std::int32_t* count) noexcept;
  HRESULT InfoGetByIndex(const char16_t* path, std::int32_t index, char16_t** name,
                         IXvNode** info) noexcept;
  HRESULT InfoGet(const char16_t* name, char16_t** type, char16_t** defaultValue,
                  char16_t** values) noexcept;
  HRESULT InfoSet(const char16_t* name, const char16_t* type, const char16_t* defaultValue,
                  const char16_t* values) noexcept;

 private:
  // Converts and keeps the name.
  std::string Named(const char16_t* name);
  Status SetValue(XMLParse::CoXMLNode& node, const std::string& name, const std::string& value);
  // Nothing when the name is not in this object.
  std::optional<std::string> Find(const std::string& name) const;
  Status GetForwarded(const char16_t* name, char16_t** value) const;

  // The schema entry of a path; null without one.
  XMLParse::XMLNodePtr FindInfo(const std::string& path) const;

  // One row of a walk: an attribute, or a child node.
  struct Property {
    std::string name;
    std::string value;
    bool hasChildren = false;
  };
  static Property PropertyOf(const XMLParse::CoXMLNode& node);
  static std::optional<Property> PropertyAt(const XMLParse::CoXMLNode& node, std::size_t index);
  bool IsQuality(std::string_view path) const;
  // The computed values, then those attributes of the tree's node (may be null) that none shadows.
  std::vector<Property> QualityProperties(const XMLParse::CoXMLNode* node) const;
  // Nothing past the end.
  std::optional<Property> WalkAt(const XMLParse::CoXMLNode* node, const std::string& path,
                                 std::size_t index) const;

  Ref<ObjectVal> holder_;
  ListRead listRead_;
  ListInfo listInfo_;
  QualityRead qualityRead_;
  QualityNames qualityNames_;

  mutable std::shared_mutex treeLock_;  // one writing operation at a time; above the nodes' locks
  mutable std::mutex stateLock_;        // guards what follows; a leaf
  Ref<IXvProps> forward_;
  std::string lastName_;
};

}  // namespace xv
