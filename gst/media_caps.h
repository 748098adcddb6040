#pragma once

#include <gst/audio/audio.h>
#include <gst/video/video.h>

#include <cstdint>
#include <string>

#include "xvwriter/media.h"

// What the writer takes, in GStreamer's words: pad templates, and the records of negotiated caps.
namespace xv::gst {

inline constexpr int kMostChannels = 32;  // of all sound pads together

// Caps of the pad templates, owned by the caller: every host layout; every form of samples.
GstCaps* PictureTemplateCaps();
GstCaps* SoundTemplateCaps();

// Negotiated pictures.
struct PictureFormat {
  GstVideoInfo info{};
  XV_VID_PROPS props{};          // height negative for RGB: GStreamer's lines go from the top
  bool fullRange = false;        // Y', Cb, Cr of 0 to 255, which become video range
  bool swapsWords = false;       // r210: big-endian words to the writer's
  std::string colourAttributes;  // of the session, such as " video::color_primaries=bt2020"

  // Nominal length of a picture in nanoseconds, 0 where the rate varies.
  std::int64_t FrameDuration() const;
};

// Negotiated sound: interleaved samples.
struct SoundFormat {
  int rate = 0;
  int channels = 0;
  int bits = 0;  // as XV_AUD_PROPS has them; -32: float
  int sampleBytes = 0;

  // What pads that become tracks of one recording have in common.
  bool GoesWith(const SoundFormat& other) const { return rate == other.rate && bits == other.bits; }
};

// False for caps that the writer cannot take; `why` gets a sentence.
bool ReadPictureCaps(const GstCaps* caps, PictureFormat* format, std::string* why);
bool ReadSoundCaps(const GstCaps* caps, SoundFormat* format, std::string* why);

// `caps` (consumed) cut down to what goes with `common`, and to its channels or at most `most` of
// them where it has 0. A rate of 0 binds nothing.
GstCaps* RestrictSound(GstCaps* caps, const SoundFormat& common, int most);

// The field order of one picture, by the caps and the flags of its buffer.
eXvInterlace FieldOrderOf(const GstVideoInfo& info, GstBuffer* buffer);

}  // namespace xv::gst
