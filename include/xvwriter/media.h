#pragma once

#include <cstdint>

// Records that cross the boundary between host and writer. All are plain, copied by value.
namespace xv {

// Times are counts of 100 nanoseconds; this one means "no value".
inline constexpr std::int64_t kNoTime = INT64_MIN;
inline constexpr std::int64_t kTimeUnitsPerSecond = 10'000'000;

constexpr std::uint32_t FourCC(const char (&text)[5]) {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(text[0])) |
         static_cast<std::uint32_t>(static_cast<unsigned char>(text[1])) << 8 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(text[2])) << 16 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(text[3])) << 24;
}

// Picture layouts. Four characters in memory order, or the first word of a media subtype.
inline constexpr std::uint32_t kFccUYVY = FourCC("UYVY");  // 4:2:2, BT.601
inline constexpr std::uint32_t kFccHDYC = FourCC("HDYC");  // as UYVY, BT.709
inline constexpr std::uint32_t kFccYUY2 = FourCC("YUY2");
inline constexpr std::uint32_t kFccYVYU = FourCC("YVYU");
inline constexpr std::uint32_t kFccYV12 = FourCC("YV12");  // planes Y, V, U
inline constexpr std::uint32_t kFccI420 = FourCC("I420");  // planes Y, U, V
inline constexpr std::uint32_t kFccNV12 = FourCC("NV12");  // planes Y, UV
inline constexpr std::uint32_t kFccY422 = FourCC("Y422");
inline constexpr std::uint32_t kFccY444 = FourCC("Y444");
inline constexpr std::uint32_t kFccV210 = FourCC("v210");  // 10-bit 4:2:2, 6 pixels in 16 bytes
inline constexpr std::uint32_t kFccR210 = FourCC("r210");  // 10-bit RGB, big-endian words
inline constexpr std::uint32_t kFccMJPG = FourCC("MJPG");
inline constexpr std::uint32_t kFccARGB32 = 0x773C9AC0;  // bytes B, G, R, A
inline constexpr std::uint32_t kFccRGB32 = 0xE436EB7E;   // bytes B, G, R, unused
inline constexpr std::uint32_t kFccRGB24 = 0xE436EB7D;   // bytes B, G, R
inline constexpr std::uint32_t kFccRGB8 = 0xE436EB7A;
inline constexpr std::uint32_t kFccARGB4444 = 0x6E6415E6;
inline constexpr std::uint32_t kFccRGB565 = 0xE436EB7B;
inline constexpr std::uint32_t kFccRGB555 = 0xE436EB7C;
inline constexpr std::uint32_t kFccARGB1555 = 0x297C55AF;

struct XV_TIMECODE {
  std::uint32_t nHour;
  std::uint32_t nMinute;
  std::uint32_t nSecond;
  std::uint32_t nFrame;
  std::uint32_t eTcFlags;  // bit 0: drop-frame count
  std::uint32_t nReserved;
};
inline constexpr std::uint32_t eXvTC_DropFrame = 0x01;

enum eXvTimeFlags : std::uint32_t {
  eXvTF_Break = 0x01,    // time discontinuity at this frame; on corrected times: the first frame
  eXvTF_Rebase = 0x02,   // recompute the correction offset at this frame
  eXvTF_Cleared = 0x10,  // cleared on the first frame, otherwise not read
  eXvTF_End = 0x20,      // with eXvTF_Break: end of stream; audio of the frame is ignored
  eXvTF_Gap = 0x40,
  eXvTF_Jump = 0x80,  // also set by the corrector where it re-based
  eXvTF_EndMark = eXvTF_Break | eXvTF_End,
};

// The time stamp of one frame.
struct XV_TIME {
  std::int64_t rtStart;  // presentation start, 100 ns
  std::int64_t rtStop;   // presentation end; absent when not above rtStart + 1000
  XV_TIMECODE tcFrame;   // source time code
  std::uint32_t eFlags;  // eXvTimeFlags
  std::uint32_t nReserved;
};

enum eXvVideoFormat : std::int32_t {
  eXvVF_Custom = 0,
  eXvVF_NTSC,
  eXvVF_NTSC_2398p,
  eXvVF_NTSC_16x9,
  eXvVF_PAL,
  eXvVF_PAL_16x9,
  eXvVF_HD720_50p,
  eXvVF_HD720_5994p,
  eXvVF_HD720_60p,
  eXvVF_HD1080_2398p,
  eXvVF_HD1080_24p,
  eXvVF_HD1080_25p,
  eXvVF_HD1080_2997p,
  eXvVF_HD1080_30p,
  eXvVF_HD1080_50i,
  eXvVF_HD1080_5994i,
  eXvVF_HD1080_60i,
  eXvVF_HD1080_50p,
  eXvVF_HD1080_5994p,
  eXvVF_HD1080_60p,
  eXvVF_2K_DCI_2398p,
  eXvVF_2K_DCI_24p,
  eXvVF_2K_DCI_25p,
  eXvVF_2K_DCI_50p,
  eXvVF_2K_DCI_5994p,
  eXvVF_2K_DCI_60p,
  eXvVF_2K_2398p,
  eXvVF_2K_24p,
  eXvVF_2K_25p,
  eXvVF_4K_UHD_50i,
  eXvVF_4K_UHD_5994i,
  eXvVF_4K_UHD_60i,
  eXvVF_4K_UHD_2398p,
  eXvVF_4K_UHD_24p,
  eXvVF_4K_UHD_25p,
  eXvVF_4K_UHD_2997p,
  eXvVF_4K_UHD_30p,
  eXvVF_4K_DCI_2398p,
  eXvVF_4K_DCI_24p,
  eXvVF_4K_DCI_25p,
  eXvVF_4K_UHD_50p,
  eXvVF_4K_UHD_5994p,
  eXvVF_4K_UHD_60p,
  eXvVF_4K_DCI_50p,
  eXvVF_4K_DCI_5994p,
  eXvVF_4K_DCI_60p,
  eXvVF_Disabled,
};

// Stereo flags above the low byte of a video format.
inline constexpr std::int32_t eXvVF_HorizontalSplit = 0x200;
inline constexpr std::int32_t eXvVF_VerticalSplit = 0x400;
inline constexpr std::int32_t eXvVF_FullSize = 0x1000;  // doubles width (0x200) or height (0x400)

enum eXvInterlace : std::uint32_t {
  eXvI_Auto = 0,  // take the format table's default
  eXvI_TopFirst = 1,
  eXvI_BottomFirst = 2,
  eXvI_Progressive = 3,
  eXvI_Inverse = 4,
  eXvI_Field = 5,
};

// Aspect handling (`eAspectFit`), in the order of the words of the attribute "ar_type".
enum eXvAspectFit : std::uint32_t {
  eXvAF_Default = 0,
  eXvAF_IgnoreAspect = 1,
  eXvAF_LetterBox = 2,
  eXvAF_Crop = 3,
  eXvAF_NoScale = 4,
  eXvAF_None = 5,
};

struct XV_VID_PROPS {
  std::int32_t eVideoFormat;  // low 8 bits: eXvVideoFormat
  std::uint32_t fccColor;
  std::int32_t nWidth;     // pixels
  std::int32_t nHeight;    // lines; RGB layouts: positive is bottom-up, negative top-down
  std::int32_t nRowBytes;  // bytes per line of the first plane
  std::uint32_t eInterlace;
  std::int16_t nAspectX;  // picture aspect, 0 if unknown
  std::int16_t nAspectY;
  std::uint32_t nReserved;
  double dblRate;  // frames per second, 0 or less if unknown
  std::uint32_t eAspectFit;
};

struct XV_AUD_PROPS {
  std::int32_t nChannels;       // negative: disabled
  std::int32_t nSamplesPerSec;  // Hz
  std::int32_t nBitsPerSample;  // 16, 20, 24, 32; -32 is 32-bit float. 20 lies in 24-bit words
  std::uint32_t nTrackMask;     // bit i: a track ends at channel i
};

// Media properties of a frame or a stream; all zero means nothing is known.
struct XV_AV_PROPS {
  XV_VID_PROPS vid;
  XV_AUD_PROPS aud;
};

struct XV_FRAME_INFO {
  XV_TIME time;
  std::uint64_t nReserved0;
  XV_AV_PROPS props;
  std::uint32_t cbAudio;
  std::uint32_t nReserved;
  std::uint64_t nReserved1;
  const std::uint8_t* pbAudio;
};

static_assert(sizeof(XV_TIME) == 48 && sizeof(XV_VID_PROPS) == 48);
static_assert(sizeof(XV_AUD_PROPS) == 16 && sizeof(XV_AV_PROPS) == 64);

}  // namespace xv
