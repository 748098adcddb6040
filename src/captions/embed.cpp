#include "captions/embed.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>
#include <utility>

#include "captions/caption_pairs.h"
#include "captions/frame_items.h"
#include "captions/insert_offset.h"

namespace xv {
namespace {

constexpr std::uint32_t kKeys[] = {FourCC("ATSC"), FourCC("GA94"), FourCC("C708"), FourCC("C608")};

// Blocks without anything for a viewer do not count; those of unknown form do.
void Count(std::atomic<std::int64_t> CaptionCounters::*counter, const CaptionBlock& block,
           CaptionCounters* stats) {
  const std::span<const std::uint8_t> constructs = ConstructsOfA53(block);
  if (!constructs.empty() && !CarriesCaptions(constructs)) return;
  if (stats != nullptr) ++(stats->*counter);
}

// The looseness is meant: encoders start a packet with three-byte codes too.
bool LooksLikeByteStream(std::span<const std::uint8_t> packet) {
  if (packet.size() <= 3) return true;
  const bool startCode = packet[0] == 0 && packet[1] == 0 && packet[2] == 0 && packet[3] == 1;
  return startCode || (packet[2] & 1) != 0;
}

// Frames the block for the codec and tells its place.
Status Prepare(AVCodecID codec, CaptionPlacement placement, std::span<const std::uint8_t> packet,
               CaptionBlock* block, std::size_t* offset) {
  switch (codec) {
    case AV_CODEC_ID_MPEG2VIDEO:
    case AV_CODEC_ID_MPEG4:
      *offset = placement == CaptionPlacement::kPicture
                    ? FindPictureOffset(packet, codec == AV_CODEC_ID_MPEG4)
                    : FindInsertOffset(packet, false);
      PrepareMpegUserData(block);
      return S_OK;
    case AV_CODEC_ID_H264:
      if (!LooksLikeByteStream(packet)) return E_NOTIMPL;
      *offset = FindInsertOffset(packet, true);
      PrepareH264Sei(block);
      return S_OK;
    default:
      return E_NOTIMPL;
  }
}

Status Insert(AVCodecID codec, CaptionPlacement placement, CaptionBlock block, AVPacket* packet) {
  if (block.empty()) return E_UNEXPECTED;
  const std::size_t size = static_cast<std::size_t>(packet->size);
  std::size_t offset = 0;
  RETURN_IF_FAILED(Prepare(codec, placement, {packet->data, size}, &block, &offset));
  if (block.size() > static_cast<std::size_t>(INT32_MAX)) return E_OUTOFMEMORY;
  if (av_grow_packet(packet, static_cast<int>(block.size())) < 0) return E_OUTOFMEMORY;
  std::memmove(packet->data + offset + block.size(), packet->data + offset, size - offset);
  std::memcpy(packet->data + offset, block.data(), block.size());
  return S_OK;
}

}  // namespace

Status KeepCaptions(CaptionMap* map, IXvFrame& frame, std::int64_t pts, std::int64_t held,
                    CaptionCounters* stats) {
  std::uint32_t size = 0;
  const std::uint8_t* data = nullptr;
  for (const std::uint32_t key : kKeys) {
    RETURN_IF_FAILED(frame.FrameExtraGet(key, &size, &data));
    if (size > 0 && data != nullptr) break;
  }
  if (size == 0 || data == nullptr) return S_FALSE;
  const std::size_t most =
      kCaptionBlocks + static_cast<std::size_t>(std::max<std::int64_t>(held, 0));
  if (map->size() >= most) {
    Count(&CaptionCounters::lost, map->begin()->second, stats);
    map->erase(map->begin());
  }
  map->insert_or_assign(pts, CaptionBlock(data, data + size));
  return S_OK;
}

Status InsertCaptions(CaptionMap* map, AVCodecID codec, CaptionPlacement placement,
                      AVPacket* packet, CaptionCounters* stats) {
  if ((packet->data == nullptr) != (packet->size == 0)) return E_UNEXPECTED;
  const auto found = map->find(packet->pts);
  if (found == map->end()) return S_FALSE;
  const CaptionBlock block = std::move(found->second);
  map->erase(found);
  const Status status = Insert(codec, placement, block, packet);
  Count(status.Ok() ? &CaptionCounters::embedded : &CaptionCounters::lost, block, stats);
  return status;
}

void DropCaptions(CaptionMap* map, CaptionCounters* stats) {
  for (const auto& [pts, block] : *map) Count(&CaptionCounters::lost, block, stats);
  map->clear();
}

}  // namespace xv
