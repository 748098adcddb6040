#include "support/vendor/mfx/param_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "support/vendor/ledger.h"

namespace xv::mfx {
namespace {

class Rules {
 public:
  explicit Rules(const char* call) : call_(call) {}
  void Ask(bool kept, const std::string& otherwise) {
    if (kept) return;
    vendor::Ledger::Get().Broke(fmt::format("{}: {}", call_, otherwise));
    kept_ = false;
  }
  mfxStatus Answer(mfxStatus otherwise) const { return kept_ ? MFX_ERR_NONE : otherwise; }

 private:
  const char* call_;
  bool kept_ = true;
};

bool IsFieldOrder(mfxU16 structure) {
  return structure == MFX_PICSTRUCT_FIELD_TFF || structure == MFX_PICSTRUCT_FIELD_BFF;
}

void AskFrameInfo(Rules& rules, const mfxFrameInfo& info) {
  const bool progressive = info.PicStruct == MFX_PICSTRUCT_PROGRESSIVE;
  rules.Ask(info.FourCC == MFX_FOURCC_NV12 && info.ChromaFormat == MFX_CHROMAFORMAT_YUV420,
            "pictures are not NV12");
  rules.Ask(progressive || IsFieldOrder(info.PicStruct),
            fmt::format("PicStruct is {}", info.PicStruct));
  rules.Ask(info.Width != 0 && info.Width % 16 == 0,
            fmt::format("Width is {}, no multiple of 16", info.Width));
  rules.Ask(info.Height != 0 && info.Height % (progressive ? 16 : 32) == 0,
            fmt::format("Height is {}, no multiple of {}", info.Height, progressive ? 16 : 32));
  rules.Ask(info.CropW != 0 && info.CropX + info.CropW <= info.Width && info.CropH != 0 &&
                info.CropY + info.CropH <= info.Height,
            fmt::format("the crop {}x{} is not in the picture", info.CropW, info.CropH));
  rules.Ask(progressive || (info.CropY % 4 == 0 && info.CropH % 4 == 0),
            fmt::format("H.264 cannot tell of {} lines in fields", info.CropH));
  rules.Ask(info.Width - info.CropW < 16 && info.Height - info.CropH < 32,
            "the picture is larger than its crop asks for");
  rules.Ask(info.FrameRateExtN != 0 && info.FrameRateExtD != 0, "no frame rate");
  rules.Ask((info.AspectRatioW == 0) == (info.AspectRatioH == 0), "half an aspect ratio");
}

void AskRate(Rules& rules, const mfxInfoMFX& mfx) {
  static const std::set<int> kMethods = {1, 2, 3, 4, 8, 9, 10, 11, 13};
  rules.Ask(kMethods.contains(mfx.RateControlMethod),
            fmt::format("RateControlMethod is {}", mfx.RateControlMethod));
  const bool icq = mfx.RateControlMethod == MFX_RATECONTROL_ICQ ||
                   mfx.RateControlMethod == MFX_RATECONTROL_LA_ICQ;
  if (mfx.RateControlMethod == MFX_RATECONTROL_CQP) {
    rules.Ask(mfx.QPI <= 51 && mfx.QPP <= 51 && mfx.QPB <= 51, "a quantiser above 51");
  } else if (icq) {
    rules.Ask(mfx.ICQQuality >= 1 && mfx.ICQQuality <= 51,
              fmt::format("ICQQuality is {}", mfx.ICQQuality));
  } else {
    rules.Ask(mfx.TargetKbps != 0, "TargetKbps is 0");
  }
}

void AskMfx(Rules& rules, const mfxInfoMFX& mfx) {
  rules.Ask(mfx.CodecId == MFX_CODEC_AVC, "the codec is not AVC");
  rules.Ask(mfx.TargetUsage <= 7, fmt::format("TargetUsage is {}", mfx.TargetUsage));
  rules.Ask(std::ranges::all_of(mfx.reserved, [](mfxU32 word) { return word == 0; }),
            "reserved words are not 0");
  AskFrameInfo(rules, mfx.FrameInfo);
  AskRate(rules, mfx);
}

void AskExtensions(Rules& rules, const mfxVideoParam& param) {
  rules.Ask(param.NumExtParam == 0 || param.ExtParam != nullptr, "ExtParam is null");
  std::set<mfxU32> seen;
  for (int i = 0; i < param.NumExtParam && param.ExtParam != nullptr; ++i) {
    const mfxExtBuffer& one = *param.ExtParam[i];
    rules.Ask(seen.insert(one.BufferId).second, "an extended buffer stands there twice");
    const std::size_t size = one.BufferId == MFX_EXTBUFF_CODING_OPTION ? sizeof(mfxExtCodingOption)
                             : one.BufferId == MFX_EXTBUFF_CODING_OPTION_SPSPPS
                                 ? sizeof(mfxExtCodingOptionSPSPPS)
                                 : 0;
    rules.Ask(one.BufferSz == size, fmt::format("an extended buffer of {} bytes", one.BufferSz));
  }
}

}  // namespace

mfxStatus CheckParam(const char* call, const mfxVideoParam& param, bool hardware) {
  Rules rules(call);
  AskMfx(rules, param.mfx);
  AskExtensions(rules, param);
  const bool system = param.IOPattern == MFX_IOPATTERN_IN_SYSTEM_MEMORY;
  const bool video = param.IOPattern == MFX_IOPATTERN_IN_VIDEO_MEMORY;
  rules.Ask(system || (video && hardware), fmt::format("IOPattern is {}", param.IOPattern));
  return rules.Answer(MFX_ERR_INVALID_VIDEO_PARAM);
}

mfxStatus CheckSurface(const char* call, const mfxFrameSurface1& surface,
                       const mfxVideoParam& param) {
  Rules rules(call);
  const mfxFrameInfo &info = surface.Info, &made = param.mfx.FrameInfo;
  rules.Ask(info.FourCC == made.FourCC && info.ChromaFormat == made.ChromaFormat,
            "the surface has another format than the encoder");
  rules.Ask(info.Width == made.Width && info.Height == made.Height && info.CropW == made.CropW &&
                info.CropH == made.CropH && info.CropX == made.CropX && info.CropY == made.CropY,
            "the surface has another size than the encoder");
  rules.Ask(info.PicStruct == made.PicStruct, "the surface has another PicStruct");
  if (surface.Data.Y == nullptr) {
    rules.Ask(surface.Data.MemId != nullptr, "a surface without memory");
  } else {
    rules.Ask(surface.Data.Pitch >= made.Width, "the pitch is less than the width");
    rules.Ask(surface.Data.UV == surface.Data.Y + surface.Data.Pitch * made.Height,
              "UV is not behind Y");
  }
  return rules.Answer(MFX_ERR_UNDEFINED_BEHAVIOR);
}

mfxStatus CheckBitstream(const char* call, const mfxBitstream& bitstream) {
  Rules rules(call);
  rules.Ask(bitstream.Data != nullptr, "a bitstream without memory");
  rules.Ask(bitstream.DataOffset + bitstream.DataLength <= bitstream.MaxLength,
            "the bitstream's data reach behind its end");
  return rules.Answer(MFX_ERR_NULL_PTR);
}

const mfxExtBuffer* FindExtension(const mfxVideoParam& param, mfxU32 id) {
  for (int i = 0; i < param.NumExtParam; ++i) {
    if (param.ExtParam[i]->BufferId == id) return param.ExtParam[i];
  }
  return nullptr;
}

mfxU16 SurfacesNeeded(const mfxVideoParam& param) {
  const int depth = param.AsyncDepth == 0 ? 4 : param.AsyncDepth;
  return static_cast<mfxU16>(depth + std::max<int>(param.mfx.GopRefDist, 1));
}

mfxStatus Complete(mfxVideoParam* param) {
  mfxInfoMFX& mfx = param->mfx;
  if (param->AsyncDepth == 0) param->AsyncDepth = 4;
  if (mfx.BRCParamMultiplier == 0) mfx.BRCParamMultiplier = 1;
  if (mfx.TargetUsage == 0) mfx.TargetUsage = 4;
  if (mfx.GopPicSize == 0) mfx.GopPicSize = 256;
  if (mfx.GopRefDist == 0) mfx.GopRefDist = 1;
  if (mfx.NumRefFrame == 0) mfx.NumRefFrame = 2;
  if (mfx.CodecProfile == 0) mfx.CodecProfile = MFX_PROFILE_AVC_HIGH;
  if (mfx.CodecProfile == MFX_PROFILE_AVC_BASELINE) mfx.GopRefDist = 1;
  // Room for a picture that does not shrink.
  const int picture = mfx.FrameInfo.Width * mfx.FrameInfo.Height * 3 / 2 / 1000 + 4;
  const int unit = mfx.BRCParamMultiplier;
  mfx.BufferSizeInKB =
      static_cast<mfxU16>(std::max<int>(mfx.BufferSizeInKB, (picture + unit - 1) / unit));
  if (mfx.RateControlMethod != MFX_RATECONTROL_VBR || mfx.MaxKbps >= mfx.TargetKbps) {
    return MFX_ERR_NONE;
  }
  mfx.MaxKbps = mfx.TargetKbps;
  return MFX_WRN_INCOMPATIBLE_VIDEO_PARAM;
}

}  // namespace xv::mfx
