#include "contracts/frame_node.h"

#include "base/text.h"

namespace xv {

XMLParse::XMLNodePtr NodeOfFrame(IUnknown* frame) {
  const Ref<IXvFrameExtras> extras = Query<IXvFrameExtras>(frame);
  Ref<IXvNode> node;
  if (!extras || Failed(extras->NodeGet(node.Receive())) || !node) return nullptr;
  if (XMLParse::XMLNodePtr own = XMLParse::NodeOf(node.get())) return own;
  char16_t* text = nullptr;
  if (Failed(node->ToText(&text))) return nullptr;
  XMLParse::XMLNodePtr copy = XMLParse::CoXMLNode::Create("props");
  copy->MergeText(Utf8FromUtf16(text), XMLParse::MergeMode::kReplace);
  XvStringFree(text);
  return copy;
}

}  // namespace xv
