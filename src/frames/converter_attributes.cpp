#include "frames/converter_attributes.h"

#include <algorithm>
#include <string>
#include <vector>

#include "values/value_syntax.h"

namespace xv {
namespace {

bool IsWholeNumber(std::string_view text) {
  const std::size_t length = ParseInteger(text).length;
  return length > 0 && length == text.size();
}

}  // namespace

bool IsCropList(std::string_view text) {
  const std::vector<std::string> items = ReadList(text);
  return !items.empty() && items.size() <= 4 &&
         std::all_of(items.begin(), items.end(), IsWholeNumber);
}

bool IsScalingQuality(std::string_view text) {
  return text.empty() || WordIndex(text, kQualityWords) >= 0 || IsWholeNumber(text);
}

int ScalingCode(std::string_view quality, Siting siting) {
  constexpr int kToldDefault = 2;
  const bool classic = siting == Siting::kClassic;
  if (quality.empty()) return classic ? kToldDefault : 0;
  const int word = WordIndex(quality, kQualityWords);
  return word < 0 ? ReadInt(quality) : word == 0 || classic ? 0 : kNamedQuality + word;
}

Status ReadCrop(const XMLParse::CoXMLNode& props, CropSides* crop) {
  *crop = {};
  const auto text = props.Find(kCrop);
  if (!text) return S_OK;
  std::vector<int> n;
  for (const std::string& item : ReadList(*text)) n.push_back(ReadInt(item));
  if (n.empty()) return E_INVALIDARG;
  switch (n.size()) {
    case 1:
      *crop = {n[0], n[0], n[0], n[0]};
      break;
    case 2:
      *crop = {n[0], n[1], n[0], n[1]};
      break;
    case 3:
      *crop = {n[0], n[1], n[0], n[2]};
      break;
    default:
      *crop = {n[0], n[1], n[2], n[3]};
  }
  return S_OK;
}

}  // namespace xv
