#pragma once

#include <cstdint>
#include <map>
#include <string_view>

#include "base/status.h"
#include "captions/caption_counters.h"
#include "captions/user_data.h"
#include "xvwriter/frames.h"

extern "C" {
#include <libavcodec/codec_id.h>
#include <libavcodec/packet.h>
}

// Captions inside the encoded pictures. An encoder gives packets back later than their frames went
// in: blocks wait in a map under the frame's stamp until its packet comes. All of this runs on the
// thread that encodes.
namespace xv {

using CaptionMap = std::map<std::int64_t, CaptionBlock>;

// "embed_cc.placement": where an MPEG-2 or MPEG-4 block stands. kPicture is ahead of the first
// slice, where the standards want it; kSequence is behind the sequence header alone, which lenient
// decoders take and others give to the next picture or lose. H.264 has one place.
enum class CaptionPlacement { kSequence, kPicture };
inline constexpr const char* kCaptionPlacements[] = {"sequence", "picture", nullptr};

// Blocks that wait beyond the frames that the encoder holds.
inline constexpr std::size_t kCaptionBlocks = 15;

// Copies the caption attachment of a frame into the map: "ATSC", "GA94", "C708" or "C608", the
// first with data. `held` is the count of frames that the encoder has taken and not given back:
// with more than kCaptionBlocks beyond them the oldest block goes, and counts as lost. S_FALSE when
// the frame has none, a failed lookup as it is. `stats` may be null.
Status KeepCaptions(CaptionMap* map, IXvFrame& frame, std::int64_t pts, std::int64_t held,
                    CaptionCounters* stats);

// Puts the block of the packet's stamp into the packet. The block leaves the map, whatever follows.
//   S_OK          inserted.
//   S_FALSE       no block for this packet.
//   E_NOTIMPL     the codec takes no captions, or the H.264 packet has length prefixes.
//   E_UNEXPECTED  a packet or block without data.
//   E_OUTOFMEMORY
// A failure leaves the packet as it was and never concerns its fate; it counts as lost.
Status InsertCaptions(CaptionMap* map, AVCodecID codec, CaptionPlacement placement,
                      AVPacket* packet, CaptionCounters* stats);

// Forgets what is left at the end; it counts as lost.
void DropCaptions(CaptionMap* map, CaptionCounters* stats);

}  // namespace xv
