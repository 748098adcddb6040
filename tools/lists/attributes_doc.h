#pragma once

#include <span>
#include <string>

#include "tree/node.h"

namespace xv {

// The rows that one room reads, under a heading of its own.
struct AttributeTable {
  const char* title;
  std::span<const AttributeRow> rows;
};

// docs/attributes.md as text: what this system reads itself, then what the formats and codecs of
// the list take.
std::string RenderAttributesDoc(std::span<const AttributeTable> tables,
                                const XMLParse::CoXMLNode& list);

}  // namespace xv
