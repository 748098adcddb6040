#include "catalogue/listed_options.h"

#include "catalogue/builtin_list.h"
#include "tree/node.h"
#include "tree/node_impl.h"

namespace xv {
namespace {

void AddDeclared(const XMLParse::CoXMLNode& holder, std::set<std::string, std::less<>>* names) {
  const XMLParse::XMLNodePtr schema = holder.FindChild(XMLParse::kSchemaName);
  if (!schema) return;
  for (const XMLParse::XMLNodePtr& entry : schema->Children()) names->insert(entry->Name());
}

}  // namespace

std::set<std::string, std::less<>> ListedCodecOptions(std::string_view kind) {
  std::set<std::string, std::less<>> names;
  const XMLParse::XMLNodePtr list = XMLParse::CoXMLNode::Create({});
  (void)list->ReadXml(BuiltinList());
  const XMLParse::XMLNodePtr codecs = list->FindChild(std::string(kind) + "_codecs");
  if (!codecs) return names;
  AddDeclared(*codecs, &names);
  for (const XMLParse::XMLNodePtr& codec : codecs->Children()) AddDeclared(*codec, &names);
  return names;
}

}  // namespace xv
