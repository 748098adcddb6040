#pragma once

#include "settings/settings_store.h"
#include "tree/node.h"

namespace xv {

// The settings store behind a writer's node: what the user's settings hold are defaults of all
// writers, and what the code has set becomes visible there. At construction of the owner, in this
// order: ReadInto, the code's defaults where absent, WriteBack. Nothing is written later.
class XvPropsHW {
 public:
  XvPropsHW() = default;
  explicit XvPropsHW(SettingsStore store) : store_(std::move(store)) {}

  // Values become attributes under their names, tables child nodes; a value named "" is the node's
  // own. Whatever is wrong with the file, the node then has what could be read.
  void ReadInto(XMLParse::CoXMLNode& node);
  // Adds the node's value and attributes where the store lacks them; children are not written.
  void WriteBack(const XMLParse::CoXMLNode& node);

 private:
  SettingsStore store_;
};

}  // namespace xv
