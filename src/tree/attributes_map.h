#pragma once

#include <string>
#include <string_view>

#include "tree/named_list.h"
#include "values/xml_value.h"

namespace xv::XMLParse {

struct XMLAttribute {
  std::string name;
  XMLValue value;
  bool removed = false;
};

struct AttributeTraits {
  static const std::string& Name(const XMLAttribute& one) { return one.name; }
  static bool IsHole(const XMLAttribute& one) { return one.removed; }
  static void MakeHole(XMLAttribute& one) { one = {{}, {}, true}; }
};

// A node's attributes in the order of insertion; a later write to a name keeps its position. The
// owner locks.
class ObjectsMap : public NamedList<XMLAttribute, AttributeTraits> {
 public:
  const XMLValue* FindValue(std::string_view name) const;
  // Sets or appends. With `onlyIfAbsent` an attribute that is there stays; true when it was set.
  bool Set(std::string_view name, XMLValue value, bool onlyIfAbsent = false);
  bool RemoveNamed(std::string_view name);
  void CopyFrom(const ObjectsMap& other);
};

}  // namespace xv::XMLParse
