#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "values/xml_value.h"

namespace xv::XMLParse {

struct XMLAttribute {
  std::string name;
  XMLValue value;
};

// A node's attributes in the order of insertion. Names compare without regard to case; a later
// write to a name keeps its position. Small tables are searched from the front; a large one gets an
// index, so that a text of a million names is read in linear time. The owner locks.
class ObjectsMap {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  std::size_t Count() const { return attributes_.size(); }
  const std::string& NameAt(std::size_t i) const { return attributes_[i].name; }
  const XMLValue& ValueAt(std::size_t i) const { return attributes_[i].value; }

  std::size_t Find(std::string_view name) const;
  const XMLValue* FindValue(std::string_view name) const;
  // Sets or appends. With `onlyIfAbsent` an attribute that is there stays; true when it was set.
  bool Set(std::string_view name, XMLValue value, bool onlyIfAbsent = false);
  bool Remove(std::string_view name);
  void Clear();
  void CopyFrom(const ObjectsMap& other);
  void Swap(ObjectsMap& other) noexcept;

 private:
  using Index = std::unordered_map<std::string, std::size_t>;  // by lower-case name

  void Append(std::string_view name, XMLValue value);

  std::vector<XMLAttribute> attributes_;
  std::unique_ptr<Index> index_;  // null, or complete
};

}  // namespace xv::XMLParse
