#include "captions/frame_items.h"

#include <algorithm>
#include <string>

#include "base/ref.h"
#include "base/text.h"
#include "captions/caption_pairs.h"

namespace xv {
namespace {

constexpr std::size_t kC708Header = 4;

std::string TextItem(IXvFrame& frame, const std::u16string& name) {
  const Ref<IXvFrameExtras> extras = Query<IXvFrameExtras>(&frame);
  char16_t* value = nullptr;
  if (!extras || Failed(extras->TextGet(name.c_str(), &value))) return {};
  std::string text = Utf8FromUtf16(value);
  XvStringFree(value);
  return text;
}

// The cc data section of the frame's distribution packet.
std::span<const std::uint8_t> SectionOf(IXvFrame& frame) {
  const std::span<const std::uint8_t> item = FrameItem(frame, kItemC708);
  if (item.size() <= kC708Header) return {};
  return detail::CcSection(item.subspan(kC708Header));
}

std::uint16_t WordOf(std::span<const std::uint8_t> item) {
  if (item.size() < 4) return 0;
  return static_cast<std::uint16_t>(item[0] | item[1] << 8);
}

}  // namespace

std::span<const std::uint8_t> FrameItem(IXvFrame& frame, std::string_view name) {
  std::uint32_t size = 0;
  const std::uint8_t* data = nullptr;
  HRESULT result = S_FALSE;
  if (name.size() == 4) {
    const char code[] = {name[0], name[1], name[2], name[3], 0};
    result = frame.FrameExtraGet(FourCC(code), &size, &data);
  }
  if (result != S_OK || size == 0) {
    result = frame.FrameExtraGetByName(Utf16FromUtf8(name).c_str(), &size, &data);
  }
  if (result != S_OK || size == 0 || data == nullptr) return {};
  return {data, size};
}

FrameValue FrameValueOf(IXvFrame& frame, std::string_view name) {
  const std::u16string wide = Utf16FromUtf8(name);
  std::uint32_t size = 0;
  const std::uint8_t* data = nullptr;
  const HRESULT result = frame.FrameExtraGetByName(wide.c_str(), &size, &data);
  if (result == S_OK && size == 0) {
    return static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(data));
  }
  if (result == S_OK && data != nullptr) return std::span<const std::uint8_t>(data, size);
  std::string text = TextItem(frame, wide);
  if (text.empty()) return std::monostate();
  return text;
}

std::vector<std::uint16_t> FramePairs(IXvFrame& frame) {
  std::vector<std::uint16_t> pairs = Field1Pairs(SectionOf(frame));
  pairs.erase(std::remove(pairs.begin(), pairs.end(), 0), pairs.end());
  if (pairs.empty()) pairs.push_back(WordOf(FrameItem(frame, kItemC608)));
  pairs.erase(std::remove_if(pairs.begin(), pairs.end(), IsNullPair), pairs.end());
  return pairs;
}

std::span<const std::uint8_t> ConstructsOfA53(std::span<const std::uint8_t> block) {
  constexpr std::uint8_t kHead[] = {'G', 'A', '9', '4', 3};  // ATSC A/53 part 4, 6.2.3
  constexpr std::size_t kCountAt = sizeof(kHead);
  constexpr std::size_t kFirst = kCountAt + 2;
  constexpr std::uint8_t kCountMask = 0x1F;
  if (block.size() < kFirst || !std::equal(std::begin(kHead), std::end(kHead), block.begin())) {
    return {};
  }
  const std::size_t bytes = std::size_t{3} * (block[kCountAt] & kCountMask);
  return block.subspan(kFirst, std::min(bytes, block.size() - kFirst));
}

bool FrameCarriesCaptions(IXvFrame& frame) {
  if (!FramePairs(frame).empty()) return true;
  const std::span<const std::uint8_t> section = SectionOf(frame);
  if (!section.empty() && CarriesCaptions(section.subspan(2))) return true;
  return CarriesCaptions(ConstructsOfA53(FrameItem(frame, kItemGA94))) ||
         CarriesCaptions(ConstructsOfA53(FrameItem(frame, kItemATSC)));
}

}  // namespace xv
