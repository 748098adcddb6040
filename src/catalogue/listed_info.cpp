#include "catalogue/listed_info.h"

#include <string>

#include "base/text.h"
#include "tree/node_path.h"

namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

namespace {

bool IsNamed(const XMLNodePtr& node, std::string_view name) {
  return node && EqualsNoCase(node->Name(), name);
}

// "video" or "audio" for a codec in an entry of a format; "" for any other node.
std::string KindOf(const CoXMLNode& codec) {
  const XMLNodePtr kind = codec.Parent();
  const bool inFormat = kind && IsNamed(kind->Parent(), "format");
  return inFormat && EqualsNoCase(codec.Name(), "codec") ? kind->Name() : std::string();
}

XMLNodePtr CodecOfId(const CoXMLNode& general, const std::string& id) {
  for (const XMLNodePtr& codec : general.Children()) {
    if (IsNamed(codec, "codec") && EqualsNoCase(codec->Text("id"), id)) return codec;
  }
  return nullptr;
}

}  // namespace

XMLNodePtr FindCodecInfo(const CoXMLNode& list, std::string_view path) {
  const XMLParse::SplitPath split = XMLParse::SplitLast(path);
  const XMLNodePtr codec = split.nodes ? list.FindChild(*split.nodes) : nullptr;
  const std::string kind = codec ? KindOf(*codec) : std::string();
  const XMLNodePtr general = kind.empty() ? nullptr : list.FindChild(kind + "_codecs");
  if (!general) return nullptr;
  const std::string id = codec->Text("inherit", codec->Text("id"));
  const XMLNodePtr linked = id.empty() ? nullptr : CodecOfId(*general, id);
  for (const XMLNodePtr& node : {codec, linked, general}) {
    const XMLNodePtr schema = node ? node->SchemaNode(false) : nullptr;
    if (!schema) continue;
    if (XMLNodePtr entry = schema->FindChild(split.last)) return entry;
    if (!schema->Bool("inherit", true)) return nullptr;
  }
  return nullptr;
}

}  // namespace xv
