#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tree/node.h"

namespace xv {

// Reads a track's attributes for an encoder and remembers which ones, and collects what was brought
// down.
class AttributeReader {
 public:
  explicit AttributeReader(const XMLParse::CoXMLNode& node) : node_(node) {}

  template <class T>
  auto Get(const Attribute<T>& key) {
    read_.push_back(key.name);
    return node_.Get(key);
  }
  template <class T>
  auto Find(const Attribute<T>& key) {
    read_.push_back(key.name);
    return node_.Find(key);
  }

  // `key`, with the value that it has, is brought down because of `why`.
  void Adjust(const AttributeRow& key, std::string_view value, std::string_view why);
  // The same with the attribute's text, or the default where it is absent.
  void Adjust(const AttributeRow& key, std::string_view why);

  const std::vector<std::string>& Adjusted() const { return adjusted_; }
  // Names of `rows` that stand in the node and were not read, each once, behind those of `names`.
  void AddUnused(std::span<const AttributeRow> rows, std::vector<std::string>* names) const;

 private:
  const XMLParse::CoXMLNode& node_;
  std::vector<std::string_view> read_;
  std::vector<std::string> adjusted_;
};

}  // namespace xv
