#pragma once

#include <gst/video/video.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "pictures.h"

// What the metas of a buffer say beside its pixels.
namespace xv::gst {

// cc data (constructs of three bytes) out of all caption metas of the buffer: CEA-608 as raw pairs
// of field 1 or as SMPTE ST 334-1 Annex A, CEA-708 as cc data or as distribution packets. Nothing
// where it has no such meta.
std::optional<std::vector<std::uint8_t>> CaptionsOf(GstBuffer* buffer);

// Nothing where the buffer has no time code, or one that is not valid.
std::optional<Timecode> TimecodeOf(GstBuffer* buffer);

}  // namespace xv::gst
