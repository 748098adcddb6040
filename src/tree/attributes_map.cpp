#include "tree/attributes_map.h"

namespace xv::XMLParse {

const XMLValue* ObjectsMap::FindValue(std::string_view name) const {
  const std::size_t place = Find(name);
  return place == kNone ? nullptr : &AtPlace(place).value;
}

bool ObjectsMap::Set(std::string_view name, XMLValue value, bool onlyIfAbsent) {
  const std::size_t place = Find(name);
  if (place == kNone) {
    Append({std::string(name), std::move(value)});
    return true;
  }
  if (onlyIfAbsent) return false;
  AtPlace(place).value = std::move(value);
  return true;
}

bool ObjectsMap::RemoveNamed(std::string_view name) {
  const std::size_t place = Find(name);
  if (place == kNone) return false;
  Remove(place);
  return true;
}

void ObjectsMap::CopyFrom(const ObjectsMap& other) {
  Clear();
  other.ForEach([&](const XMLAttribute& one) { Append(one); });
}

}  // namespace xv::XMLParse
