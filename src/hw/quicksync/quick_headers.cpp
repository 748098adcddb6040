#include "hw/quicksync/quick_headers.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

namespace xv {
namespace {

using SetBuffer = std::array<mfxU8, 1024>;

// From the start code to the next one, or the end; empty without a start code.
std::span<const mfxU8> SetIn(const SetBuffer& buffer, std::size_t size) {
  constexpr mfxU8 kStartCode[] = {0, 0, 0, 1};
  const auto end = buffer.begin() + static_cast<std::ptrdiff_t>(std::min(size, buffer.size()));
  const auto first = std::search(buffer.begin(), end, std::begin(kStartCode), std::end(kStartCode));
  if (first == end) return {};
  const auto next = std::search(first + 4, end, std::begin(kStartCode), std::end(kStartCode));
  return {first, next};
}

}  // namespace

Status ReadParameterSets(QuickSession& session, const QuickSettings& settings, std::uint8_t* into,
                         std::size_t* size) {
  const std::size_t room = std::exchange(*size, 0);
  SetBuffer sequence{};
  SetBuffer picture{};
  mfxExtCodingOptionSPSPPS sets{};
  sets.Header.BufferId = MFX_EXTBUFF_CODING_OPTION_SPSPPS;
  sets.Header.BufferSz = sizeof sets;
  sets.SPSBuffer = sequence.data();
  sets.PPSBuffer = picture.data();
  sets.SPSBufSize = static_cast<mfxU16>(sequence.size());
  sets.PPSBufSize = static_cast<mfxU16>(picture.size());
  LinkedParam param(settings, &sets.Header);
  RETURN_IF_FAILED(session.Check("MFXVideoENCODE_GetVideoParam",
                                 MFXVideoENCODE_GetVideoParam(session.handle(), param.get())));
  const auto first = SetIn(sequence, sets.SPSBufSize);
  const auto second = SetIn(picture, sets.PPSBufSize);
  if (into != nullptr && room < first.size() + second.size()) return E_OUTOFMEMORY;
  *size = first.size() + second.size();
  if (into != nullptr) std::ranges::copy(second, std::ranges::copy(first, into).out);
  return S_OK;
}

}  // namespace xv
