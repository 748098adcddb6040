#include "catalogue/listed_options.h"

#include "base/text.h"
#include "catalogue/builtin_list.h"
#include "contracts/av_handles.h"
#include "platform/paths.h"
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

std::string FormatOfScheme(const std::string& url) {
  if (!IsUrl(url)) return {};
  const std::string scheme = ToLower(url.substr(0, url.find(':')));
  const XMLParse::XMLNodePtr list = XMLParse::CoXMLNode::Create({});
  (void)list->ReadXml(BuiltinList());
  const XMLParse::XMLNodePtr formats = list->FindChild("formats");
  for (const XMLParse::XMLNodePtr& format :
       formats ? formats->Children() : std::vector<XMLParse::XMLNodePtr>()) {
    const std::string id = format->Text("id");
    const bool muxer = av_guess_format(id.c_str(), nullptr, nullptr) != nullptr;
    if (muxer && EqualsNoCase(format->Text("protocol"), scheme + "://")) return id;
  }
  if (av_guess_format(scheme.c_str(), nullptr, nullptr) != nullptr) return scheme;
  return avio_find_protocol_name(url.c_str()) != nullptr ? "mpegts" : "";
}

}  // namespace xv
