#include "catalogue/hardware_bounds.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/text.h"
#include "values/value_syntax.h"

namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

namespace {

// Takes words out of those that an option offers.
void TakeWords(CoXMLNode* option, std::initializer_list<const char*> words) {
  if (option == nullptr) return;
  std::string left;
  for (const std::string& word : ReadList(option->Text("values"))) {
    const bool taken = std::any_of(words.begin(), words.end(),
                                   [&](const char* one) { return EqualsNoCase(one, word); });
    if (!taken) left += (left.empty() ? "" : ", ") + word;
  }
  option->SetAttribute("values", left);
}

void BoundSize(CoXMLNode* size, const NvencCodecOffer& offer) {
  if (size == nullptr || offer.mostWidth <= 0 || offer.mostHeight <= 0) return;
  if (offer.leastWidth > 0) {
    size->SetAttribute("min", fmt::format("{}x{}", offer.leastWidth, offer.leastHeight));
  }
  size->SetAttribute("max", fmt::format("{}x{}", offer.mostWidth, offer.mostHeight));
}

void BoundCodec(CoXMLNode& codec, const NvencCodecOffer& offer) {
  const XMLNodePtr info = codec.SchemaNode(false);
  if (!info || !offer.listed) return;
  if (const XMLNodePtr bf = info->FindChild("bf")) {
    bf->SetAttribute("max", fmt::format("{}.0", offer.mostBPictures));
  }
  if (!offer.lossless) TakeWords(info->FindChild("preset").get(), {"lossless", "lossless_hp"});
  if (!offer.fields) TakeWords(info->FindChild("interlace").get(), {"top", "bottom"});
  BoundSize(info->FindChild("size").get(), offer);
}

}  // namespace

void WriteHardwareBounds(const HardwareReport& report, CoXMLNode& videoCodecs) {
  for (const XMLNodePtr& codec : videoCodecs.Children()) {
    const std::string id = codec->Text("id");
    if (EqualsNoCase(id, "n264") || EqualsNoCase(id, "l264")) BoundCodec(*codec, report.h264);
    if (EqualsNoCase(id, "n265")) BoundCodec(*codec, report.hevc);
  }
}

}  // namespace xv
