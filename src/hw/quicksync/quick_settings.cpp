#include "hw/quicksync/quick_settings.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <numeric>

#include "hw/frame_rate.h"
#include "hw/quicksync/quick_attributes.h"

namespace xv {
namespace {

using namespace quick;

constexpr std::int64_t kMost = std::numeric_limits<mfxU16>::max();

mfxU16 Cut(std::int64_t value) {
  return static_cast<mfxU16>(std::clamp<std::int64_t>(value, 0, kMost));
}

mfxU16 RateMethod(int index) {
  constexpr mfxU16 kMethods[] = {
      MFX_RATECONTROL_CBR,  MFX_RATECONTROL_VBR,    MFX_RATECONTROL_CQP,
      MFX_RATECONTROL_AVBR, MFX_RATECONTROL_LA,     MFX_RATECONTROL_LA_HRD,
      MFX_RATECONTROL_ICQ,  MFX_RATECONTROL_LA_ICQ, MFX_RATECONTROL_VCM};
  return index >= 0 && index < static_cast<int>(std::size(kMethods)) ? kMethods[index]
                                                                     : kMethods[1];
}

bool IsQuality(mfxU16 method) {
  return method == MFX_RATECONTROL_ICQ || method == MFX_RATECONTROL_LA_ICQ;
}

// Numbers of one multiplier.
struct RateNumbers {
  std::int64_t target, most, delay, buffer;

  mfxU16 Multiplier() const {
    const std::int64_t largest = std::max({target, most, delay, buffer});
    return largest > kMost ? Cut((largest + kMost - 1) / kMost) : mfxU16{0};
  }
};

void ReadBitRates(AttributeReader& reader, mfxInfoMFX& mfx) {
  const std::int64_t target = reader.Get(kBitRate) / 1000;
  const auto most = reader.Find(kMaxRate);
  const auto buffer = reader.Find(kBufferSize);
  const RateNumbers numbers{target, most ? *most / 1000 : target, reader.Get(kInitialDelay) / 1000,
                            (buffer ? *buffer : reader.Get(kBufSize)) / 1000};
  mfx.BRCParamMultiplier = numbers.Multiplier();
  const std::int64_t unit = std::max<std::int64_t>(mfx.BRCParamMultiplier, 1);
  mfx.TargetKbps = Cut(numbers.target / unit);
  mfx.MaxKbps = Cut(numbers.most / unit);
  mfx.InitialDelayInKB = Cut(numbers.delay / unit);
  mfx.BufferSizeInKB = Cut(numbers.buffer / unit);
  mfx.NumRefFrame = Cut(reader.Get(kRefFrames));
}

void ReadRates(AttributeReader& reader, mfxInfoMFX& mfx) {
  mfx.RateControlMethod = RateMethod(reader.Find(kRateControl).value_or(-1));
  if (IsQuality(mfx.RateControlMethod)) {
    mfx.ICQQuality = Cut(reader.Get(kIcqQuality));
    mfx.Accuracy = Cut(reader.Get(kAccuracy));
    mfx.Convergence = Cut(reader.Get(kConvergence));
  } else if (mfx.RateControlMethod == MFX_RATECONTROL_CQP) {
    mfx.QPI = Cut(reader.Get(kQpI));
    mfx.QPP = Cut(reader.Get(kQpP));
    mfx.QPB = Cut(reader.Get(kQpB));
  } else {
    ReadBitRates(reader, mfx);
  }
}

mfxU16 PictureStructure(std::uint32_t source, int word) {
  switch (word) {
    case kProgressive:
      return MFX_PICSTRUCT_PROGRESSIVE;
    case kTop:
      return MFX_PICSTRUCT_FIELD_TFF;
    case kBottom:
      return MFX_PICSTRUCT_FIELD_BFF;
    default:
      return source == eXvI_TopFirst      ? MFX_PICSTRUCT_FIELD_TFF
             : source == eXvI_BottomFirst ? MFX_PICSTRUCT_FIELD_BFF
                                          : MFX_PICSTRUCT_PROGRESSIVE;
  }
}

// Pictures that are coded in fields take whole pairs of macroblocks, whatever the source is.
void SetRaster(const XV_VID_PROPS& vid, mfxFrameInfo& info) {
  const int height = std::abs(vid.nHeight);
  const bool fields = vid.eInterlace == eXvI_TopFirst || vid.eInterlace == eXvI_BottomFirst ||
                      info.PicStruct != MFX_PICSTRUCT_PROGRESSIVE;
  const int step = fields ? 32 : 16;
  info.Width = Cut((vid.nWidth + 15) & ~15);
  info.Height = Cut((height + step - 1) & ~(step - 1));
  info.CropW = Cut(vid.nWidth);
  info.CropH = Cut(height);
}

void ReadFrameInfo(const XV_VID_PROPS& vid, AttributeReader& reader, mfxInfoMFX& mfx) {
  constexpr mfxU16 kProfiles[] = {MFX_PROFILE_UNKNOWN,  MFX_PROFILE_AVC_BASELINE,
                                  MFX_PROFILE_AVC_MAIN, MFX_PROFILE_AVC_EXTENDED,
                                  MFX_PROFILE_AVC_HIGH, MFX_PROFILE_AVC_PROGRESSIVE_HIGH};
  mfxFrameInfo& info = mfx.FrameInfo;
  mfx.CodecProfile = kProfiles[reader.Get(kProfile)];
  info.PicStruct = PictureStructure(vid.eInterlace, reader.Get(kInterlace));
  if (mfx.CodecProfile == MFX_PROFILE_AVC_PROGRESSIVE_HIGH) {
    info.PicStruct = MFX_PICSTRUCT_PROGRESSIVE;
  }
  info.FourCC = MFX_FOURCC_NV12;
  info.ChromaFormat = MFX_CHROMAFORMAT_YUV420;
  SetRaster(vid, info);
  const HwRate rate = FrameRateToRatio(vid.dblRate);
  info.FrameRateExtN = rate.numerator;
  info.FrameRateExtD = rate.denominator;
  const PixelAspect aspect = PixelAspectOf(vid);
  info.AspectRatioW = aspect.across;
  info.AspectRatioH = aspect.down;
}

mfxExtCodingOption CodingOption(bool cavlc) {
  mfxExtCodingOption option{};
  option.Header.BufferId = MFX_EXTBUFF_CODING_OPTION;
  option.Header.BufferSz = sizeof option;
  option.CAVLC = cavlc ? MFX_CODINGOPTION_ON : MFX_CODINGOPTION_OFF;
  option.EndOfStream = MFX_CODINGOPTION_OFF;
  return option;
}

void ReadStructure(bool hardware, AttributeReader& reader, mfxInfoMFX& mfx) {
  mfx.CodecLevel = QuickLevel(reader.Get(kLevel));
  const int quality = std::clamp(reader.Find(kQuality).value_or(hardware ? 7 : 2), 1, 7);
  mfx.TargetUsage = Cut(8 - quality);
  mfx.GopPicSize = Cut(reader.Get(kGop));
  mfx.GopRefDist = Cut(std::int64_t{reader.Get(kBPictures)} + 1);
  mfx.GopOptFlag = reader.Get(kExactGop) ? MFX_GOP_STRICT : 0;
}

}  // namespace

mfxU16 QuickLevel(std::string_view text) {
  if (text == "1.0b") return MFX_LEVEL_AVC_1b;
  if (!IsLevel(text)) return MFX_LEVEL_UNKNOWN;
  const int whole = std::clamp(text[0] - '0', 1, 5);
  return Cut(whole * 10 + std::clamp(text[2] - '0', 1, whole == 1 ? 3 : 2));
}

PixelAspect PixelAspectOf(const XV_VID_PROPS& vid) {
  const std::int64_t across = std::abs(std::int64_t{vid.nAspectX} * vid.nHeight);
  const std::int64_t down = std::abs(std::int64_t{vid.nAspectY} * vid.nWidth);
  if (across == 0 || down == 0) return {};
  const std::int64_t divisor = std::gcd(across, down);
  if (across / divisor > kMost || down / divisor > kMost) return {};
  return {Cut(across / divisor), Cut(down / divisor)};
}

std::uint32_t Multiplied(const mfxVideoParam& param, mfxU16 value) {
  return std::uint32_t{value} * std::max<std::uint32_t>(param.mfx.BRCParamMultiplier, 1);
}

QuickSettings MakeQuickSettings(const XV_VID_PROPS& vid, bool hardware, AttributeReader& reader) {
  QuickSettings settings;
  reader.Get(kForceGpu);
  settings.param.AsyncDepth = Cut(reader.Get(kAsyncDepth));
  settings.param.mfx.CodecId = MFX_CODEC_AVC;
  ReadFrameInfo(vid, reader, settings.param.mfx);
  ReadStructure(hardware, reader, settings.param.mfx);
  ReadRates(reader, settings.param.mfx);
  settings.coding = CodingOption(reader.Get(kCavlc));
  settings.useVpp = reader.Get(kUseVpp);
  const bool gpuMemory = reader.Get(kGpuMemory);
  settings.gpuMemory = gpuMemory && hardware;
  if (gpuMemory && !hardware) reader.Adjust(kGpuMemory, "the software runtime has no such memory");
  settings.param.IOPattern = settings.gpuMemory ? mfxU16{MFX_IOPATTERN_IN_VIDEO_MEMORY}
                                                : mfxU16{MFX_IOPATTERN_IN_SYSTEM_MEMORY};
  return settings;
}

LinkedParam::LinkedParam(const QuickSettings& settings, mfxExtBuffer* more)
    : param_(settings.param), coding_(settings.coding), list_{&coding_.Header, more} {
  param_.ExtParam = list_;
  param_.NumExtParam = more == nullptr ? 1 : 2;
}

}  // namespace xv
