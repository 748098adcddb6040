#include "frames/converter_attributes.h"

#include <string>
#include <vector>

#include "values/value_syntax.h"

namespace xv {
namespace {

constexpr const char* kRotations[] = {"right", "left"};
constexpr const char* kMirrors[] = {"", "horz", "vert", "both"};
constexpr const char* kSitings[] = {"classic", "centred"};
constexpr int kDefaultQuality = 2;

}  // namespace

Status ReadCrop(const XMLParse::CoXMLNode& props, CropSides* crop) {
  *crop = {};
  const auto text = props.FindText("crop");
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

std::optional<int> ReadRotate(const XMLParse::CoXMLNode& props) {
  const int index = props.ListIndex("rotate", kRotations, -1);
  return index < 0 ? std::nullopt : std::optional(index);
}

Mirror ReadMirror(const XMLParse::CoXMLNode& props) {
  return static_cast<Mirror>(props.ListIndex("mirror", kMirrors, 0));
}

int ReadScalingQuality(const XMLParse::CoXMLNode& props) {
  return props.Int("scaling_quality", kDefaultQuality);
}

Siting ReadSiting(const XMLParse::CoXMLNode& props) {
  return static_cast<Siting>(props.ListIndex("scaling_siting", kSitings, 0));
}

}  // namespace xv
