#pragma once

#include <cstdint>

// Records that cross the boundary between host and writer. All are plain, copied by value, and may
// be filled with zeros: zero means "not known" in every member that does not say otherwise.
namespace xv {

// Times are counts of 100 nanoseconds; this one means "no value".
inline constexpr std::int64_t kNoTime = INT64_MIN;
inline constexpr std::int64_t kTimeUnitsPerSecond = 10'000'000;

// Four characters as a code: the first one in the low byte.
constexpr std::uint32_t FourCC(const char (&text)[5]) {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(text[0])) |
         static_cast<std::uint32_t>(static_cast<unsigned char>(text[1])) << 8 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(text[2])) << 16 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(text[3])) << 24;
}

// --- picture layouts ---
//
// A layout is four characters, or the first word of a media subtype. W is nWidth, H the count of
// lines, S the row bytes: the distance from one line of the first plane to the next. Any S from the
// natural one up is taken; a smaller one, 0 too, counts as the natural one. Pictures may lie at any
// address; rows at multiples of 64 bytes are fastest.
//
//   layout         pixels                                    natural S                 bytes
//   UYVY HDYC      two in U Y V Y                            2 W, up to a multiple of 4   S H
//   YUY2           two in Y U Y V                            2 W, up to 4                 S H
//   YVYU           two in Y V Y U                            2 W, up to 4                 S H
//   v210           six in four words, see below              128 for each 48 pixels       S H
//   NV12           plane Y, then plane U V U V               W                            S H 3/2
//   I420           planes Y, U, V                            W                            S H 3/2
//   YV12           planes Y, V, U                            W                            S H 3/2
//   RGB24          B G R                                     3 W, up to 4                 S H
//   RGB32          B G R and a byte that is not read         4 W                          S H
//   ARGB32         B G R A, colours not premultiplied        4 W                          S H
//   r210           a word, see below                         256 for each 64 pixels       S H
//   RGB8           masks: a byte, 0 transparent              W, up to 4                   S H
//
// Planes: the first has S x H bytes. Those of I420 and YV12 that follow have S/2 a line and H/2
// lines each, the second right behind the first, the third S x H / 4 bytes further; that of NV12
// has S a line and H/2 lines. All behind one another in one block of memory.
//
// v210: little-endian words of three 10-bit samples from the low bits up: U Y V, then Y U Y, then
// V Y U, then Y V Y. A row is made of whole groups of 16 bytes, the natural S of whole 128 bytes.
//
// r210: little-endian words with red in bits 31 to 22, green in 21 to 12, blue in 11 to 2.
//
// Lines go from the top. RGB layouts but RGB8 follow the sign of nHeight: positive is bottom-up.
// An interlaced picture holds both fields, line by line, and has an even H. Layouts that are not
// RGB have an even W: of an odd one the last column is left out.
//
// Colour: Y, U, V are Y', Cb, Cr in video range (16 to 235, 16 to 240; times four in v210). HDYC is
// ITU-R BT.709; others are BT.709 above 625 lines, else BT.601, unless "video::matrix" of the
// session or "matrix" of the frame's node says otherwise ("classic": HDYC alone is BT.709). The
// matrix of pictures in YCbCr stays and is told in the stream; it counts where they become RGB. Of
// RGB the session's makes YCbCr. RGB is full range. Chroma: 4:2:2 has one U and V for two pixels of
// a line, 4:2:0 for two by two pixels. A conversion from RGB takes the average of those pixels, one
// to RGB gives them the same chroma; 4:2:0 made of an interlaced UYVY or HDYC takes both lines from
// one field.
inline constexpr std::uint32_t kFccUYVY = FourCC("UYVY");  // 8-bit 4:2:2
inline constexpr std::uint32_t kFccHDYC = FourCC("HDYC");  // 8-bit 4:2:2, BT.709
inline constexpr std::uint32_t kFccYUY2 = FourCC("YUY2");
inline constexpr std::uint32_t kFccYVYU = FourCC("YVYU");
inline constexpr std::uint32_t kFccYV12 = FourCC("YV12");  // 8-bit 4:2:0
inline constexpr std::uint32_t kFccI420 = FourCC("I420");
inline constexpr std::uint32_t kFccNV12 = FourCC("NV12");
inline constexpr std::uint32_t kFccV210 = FourCC("v210");  // 10-bit 4:2:2
inline constexpr std::uint32_t kFccR210 = FourCC("r210");  // 10-bit RGB
inline constexpr std::uint32_t kFccARGB32 = 0x773C9AC0;
inline constexpr std::uint32_t kFccRGB32 = 0xE436EB7E;
inline constexpr std::uint32_t kFccRGB24 = 0xE436EB7D;
inline constexpr std::uint32_t kFccRGB8 = 0xE436EB7A;  // masks only

// Known by name and not taken: a frame in one of these is refused, with XV_E_NO_PIXEL_FORMAT or
// E_FAIL.
inline constexpr std::uint32_t kFccY422 = FourCC("Y422");
inline constexpr std::uint32_t kFccY444 = FourCC("Y444");
inline constexpr std::uint32_t kFccMJPG = FourCC("MJPG");
inline constexpr std::uint32_t kFccARGB4444 = 0x6E6415E6;
inline constexpr std::uint32_t kFccRGB565 = 0xE436EB7B;
inline constexpr std::uint32_t kFccRGB555 = 0xE436EB7C;
inline constexpr std::uint32_t kFccARGB1555 = 0x297C55AF;

// --- time ---

// A time address after SMPTE ST 12-1, as the source carries it. The one of the first frame becomes
// the start time code of the output, unless all of it is 0 and "start_timecode" is not "auto";
// later ones are not read.
struct XV_TIMECODE {
  std::uint32_t nHour;
  std::uint32_t nMinute;
  std::uint32_t nSecond;
  std::uint32_t nFrame;    // within the second
  std::uint32_t eTcFlags;  // bit 0: drop-frame count; only kept for the 1000/1001 rates
  std::uint32_t nReserved;
};
inline constexpr std::uint32_t eXvTC_DropFrame = 0x01;

// What a host may say about a frame's time, and what the writer's correction adds (see XV_TIME).
enum eXvTimeFlags : std::uint32_t {
  eXvTF_Break = 0x01,    // the source's time line begins anew; on corrected times: the first frame
  eXvTF_Rebase = 0x02,   // take a new offset here
  eXvTF_Cleared = 0x10,  // cleared on the first frame, otherwise not read
  eXvTF_End = 0x20,      // with eXvTF_Break: end of stream; the frame's sound counts as silence
  eXvTF_Gap = 0x40,      // passed on, nothing more
  eXvTF_Jump = 0x80,     // passed on; also set by the correction where it took a new offset
  eXvTF_EndMark = eXvTF_Break | eXvTF_End,
};

// The time stamp of one frame. The writer makes a time line of its output out of the stamps that
// come in: it starts at 0 whatever the first stamp is, and it has no holes.
//
// - Without a time (rtStart is kNoTime, or rtStart, rtStop and eFlags are all 0) a frame follows
// the
//   one before at the frame rate, without drift at 29.97 and the like. Without a rate, 25 counts.
//   One of sound alone follows the sound before.
// - Offset. The first frame with a time sets what is added to all that follow.
// - Stop. A frame ends at rtStop where that is more than 1000 (100 microseconds) above rtStart,
// else
//   one frame duration behind its start, one of sound alone where its samples end. The next one is
//   expected there. So a source of variable rate gives each picture's true stop, which is the start
//   of the next one: with a stop of one frame duration the gap behind it is closed and the
//   recording becomes too short.
// - Long pictures. Where a picture lasts longer than a tick, repeats of it fill the ticks up to the
//   next one, 1000 at most; the last one stands until its stop (quality::repeats). What
//   "video.drop_frames" drops leaves a gap in the stamps instead; in containers that count
//   pictures, such as mxf, the ticks that found no room in the queue are made up for at the end.
// - Jumps and gaps. A frame that starts more than 20 ms ("time.tolerance"), or half a frame where
//   that is less but 10 ms at least, before or behind the expected place takes a new offset and
//   starts exactly there (quality::rebases); so does one with eXvTF_Break or eXvTF_Rebase, however
//   far it is off. A pause of the source thus leaves no hole, and a source that is set back goes
//   on. A frame that is off by less keeps its own time. Of stamps that tremble it is the mean that
//   counts for both: jumps by whole frames are then closed by whole frames.
// - Gaps with sound. A gap in the pictures that sound fills stays, and is filled with repeats:
// sound
//   in frames without a picture, or the samples of the lost frames in the next one.
// - Ticks. A picture keeps the tick that it is expected on while it is off by less than 20 ms, or
//   5/8 of a tick where that is more. One without a tick left is skipped (S_FALSE from the put,
//   quality::drops counts it).
// - Sound. Where there are pictures, samples begin at the corrected start of their frame. A hole of
//   more than 40 ms ("audio.tolerance") becomes silence (quality::audio.silence), samples beyond
//   that are cut (quality::audio.cut); a deviation that stays for a second is mended from a quarter
//   of it on, and frames without samples become silence of their length. Samples of several frames
//   may come in one, the first or the last of them. With a tolerance of 0, with "ignore_pts", and
//   where there are no pictures, sound is one stream in the order of the puts. A frame with
//   eXvTF_EndMark counts as silence.
// - Frames of sound alone, in a session with pictures, take the correction and do not move the
//   pictures' clock: the two may come in frames of their own, either ahead of the other.
// - "ignore_pts=true" numbers the pictures instead, without repeats.
struct XV_TIME {
  std::int64_t rtStart;  // presentation start, 100 ns
  std::int64_t rtStop;   // presentation end, 100 ns
  XV_TIMECODE tcFrame;   // source time code
  std::uint32_t eFlags;  // eXvTimeFlags
  std::uint32_t nReserved;
};

// --- video ---

// Standard rasters, rates and field orders: ITU-R BT.601 and SMPTE ST 125 (NTSC: 720 x 486, PAL:
// 720 x 576), SMPTE ST 296 (720 lines), ST 274 (1080 lines), ST 2048-1 (2K), ST 2036-1 (UHD), the
// DCI specification (2048 x 1080, 4096 x 2160). "2398", "2997" and "5994" are 24000, 30000 and
// 60000 over 1001. The rate of an interlaced format counts frames: 1080_50i has 25. NTSC is bottom
// field first, the other interlaced formats are top field first.
enum eXvVideoFormat : std::int32_t {
  eXvVF_Custom = 0,  // none of these: the other members say all
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
  eXvVF_Disabled,  // no video, whatever else is said
};

// Flags above the low byte of a video format: the picture holds two views, side by side or one
// above the other.
inline constexpr std::int32_t eXvVF_HorizontalSplit = 0x200;
inline constexpr std::int32_t eXvVF_VerticalSplit = 0x400;
inline constexpr std::int32_t eXvVF_FullSize =
    0x1000;  // each view is whole: width or height doubles

// Which field of a picture is the earlier one. Scaling and 4:2:0 keep fields apart.
enum eXvInterlace : std::uint32_t {
  eXvI_Auto = 0,  // the standard format's, else progressive
  eXvI_TopFirst = 1,
  eXvI_BottomFirst = 2,
  eXvI_Progressive = 3,
  eXvI_Inverse = 4,  // known by name; counts as progressive
  eXvI_Field = 5,    // the same
};

// What happens where a picture's aspect is not the target's, in the order of the words of the
// attribute "ar_type". A frame's own choice wins over the session's where the picture is scaled.
enum eXvAspectFit : std::uint32_t {
  eXvAF_Default = 0,       // the session's, else chosen by what the formats are
  eXvAF_IgnoreAspect = 1,  // stretched
  eXvAF_LetterBox = 2,     // all of it, black beside or above
  eXvAF_Crop = 3,          // the whole target, the picture's edges are lost
  eXvAF_NoScale = 4,       // pixel by pixel, cut or black around
  eXvAF_None = 5,          // as NoScale
};

// Size, layout, rate and field order of pictures. A standard format fills in what is left at 0;
// what is given wins, and a format that contradicts size and rate is found anew from them. To be
// encoded, a picture needs a format, or layout, width and height.
struct XV_VID_PROPS {
  std::int32_t eVideoFormat;  // low 8 bits: eXvVideoFormat, above them the flags of two views
  std::uint32_t fccColor;     // layout; 0: UYVY for standard definition, else HDYC
  std::int32_t nWidth;        // pixels, up to 65536
  std::int32_t nHeight;       // lines, up to 65536; RGB layouts: positive is bottom-up
  std::int32_t nRowBytes;     // S of the layouts above
  std::uint32_t eInterlace;   // eXvInterlace
  std::int16_t nAspectX;      // aspect of the whole picture, such as 16 and 9; both or none
  std::int16_t nAspectY;
  std::uint32_t nReserved;
  double dblRate;            // frames per second, 0 or less if unknown; a number, never NaN
  std::uint32_t eAspectFit;  // eXvAspectFit
};

// --- audio ---

// Format of sound: little-endian samples, interleaved: one of each channel in turn. Channels are in
// the order front left, front right, centre, low frequency, back left, back right, and then side
// left, side right, as the encoders' default layouts for a count have them; the third of three is
// the centre. A mix to fewer channels follows ITU-R BS.775: centre and surrounds at 0.707 to the
// sides that they belong to, low frequency is left out, mono is weighed so that it does not clip.
struct XV_AUD_PROPS {
  std::int32_t nChannels;       // 1 to 32; negative: no sound, whatever else is said
  std::int32_t nSamplesPerSec;  // Hz, above 800, up to 16777216
  std::int32_t nBitsPerSample;  // 16; 20 or 24, each in 3 bytes; 32; -32: 32-bit float, 1.0 is full
  // Tracks of the output. Bit i: a track ends with channel i; the last channel ends one in any
  // case. 0 makes one track of all, 0xFFFFFFFF one of each, 0xAAAAAAAA pairs. "split_channels" and
  // "merge_tracks" of the session win.
  std::uint32_t nTrackMask;
};

// Media properties of a frame or a stream; all zero means nothing is known.
struct XV_AV_PROPS {
  XV_VID_PROPS vid;
  XV_AUD_PROPS aud;
};

// What a frame says about itself in one record; the picture is not in it.
struct XV_FRAME_INFO {
  XV_TIME time;
  std::uint64_t nReserved0;
  XV_AV_PROPS props;
  std::uint32_t cbAudio;  // bytes at pbAudio
  std::uint32_t nReserved;
  std::uint64_t nReserved1;
  const std::uint8_t* pbAudio;  // the frame's, valid while a reference to it is held
};

// The shapes are part of the binary interface.
static_assert(sizeof(XV_TIME) == 48 && sizeof(XV_VID_PROPS) == 48);
static_assert(sizeof(XV_AUD_PROPS) == 16 && sizeof(XV_AV_PROPS) == 64);

}  // namespace xv
