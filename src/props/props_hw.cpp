#include "props/props_hw.h"

namespace xv {
namespace {

void Fill(const SettingsTable& table, XMLParse::CoXMLNode& node) {
  for (const auto& [name, value] : table.values) {
    if (name.empty()) {
      node.SetValue(value);
    } else {
      (void)node.SetText(name, value);
    }
  }
  for (const SettingsTable& inner : table.tables) {
    if (!inner.name.empty()) Fill(inner, *node.AppendChild(inner.name));
  }
}

}  // namespace

void XvPropsHW::ReadInto(XMLParse::CoXMLNode& node) {
  SettingsTable table;
  (void)store_.Read(&table);  // a file that cannot be used counts as absent
  Fill(table, node);
}

void XvPropsHW::WriteBack(const XMLParse::CoXMLNode& node) {
  auto values = node.Attributes();
  const std::string own = node.Value();
  if (!own.empty()) values.insert(values.begin(), {std::string(), own});
  (void)store_.AddMissing(values);  // a full disk or a read-only folder is no fault of the writer's
}

}  // namespace xv
