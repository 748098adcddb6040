#include <string>

#include "hw/quicksync/quick_attributes.h"
#include "hw/quicksync/quick_settings.h"

namespace xv {
namespace {

using namespace quick;

// What was asked and what is used, in the numbers of the attribute. 0 left it to the runtime.
struct Correction {
  const AttributeRow& key;
  std::int64_t asked;
  std::int64_t used;
  const char* unit;
};

void Name(const Correction& change, AttributeReader& reader) {
  if (change.asked == 0 || change.asked == change.used) return;
  reader.Adjust(change.key, "the encoder uses " + std::to_string(change.used) + change.unit);
}

void NameRates(const mfxVideoParam& asked, const mfxVideoParam& got, AttributeReader& reader) {
  const auto kilo = [&](const AttributeRow& key, mfxU16 mfxInfoMFX::*field, const char* unit) {
    Name({key, Multiplied(asked, asked.mfx.*field), Multiplied(got, got.mfx.*field), unit}, reader);
  };
  kilo(kBitRate, &mfxInfoMFX::TargetKbps, " kbit/s");
  if (asked.mfx.MaxKbps != asked.mfx.TargetKbps) kilo(kMaxRate, &mfxInfoMFX::MaxKbps, " kbit/s");
  kilo(kInitialDelay, &mfxInfoMFX::InitialDelayInKB, " kB");
  kilo(kBufferSize, &mfxInfoMFX::BufferSizeInKB, " kB");
  Name({kRefFrames, asked.mfx.NumRefFrame, got.mfx.NumRefFrame, " reference pictures"}, reader);
}

// The members are the same memory as those of rates.
void NameQuantisers(const mfxInfoMFX& asked, const mfxInfoMFX& got, AttributeReader& reader) {
  if (asked.RateControlMethod == MFX_RATECONTROL_CQP) {
    Name({kQpI, asked.QPI, got.QPI, ""}, reader);
    Name({kQpP, asked.QPP, got.QPP, ""}, reader);
    Name({kQpB, asked.QPB, got.QPB, ""}, reader);
  } else {
    Name({kIcqQuality, asked.ICQQuality, got.ICQQuality, ""}, reader);
  }
}

bool HasBitRate(const mfxInfoMFX& mfx) {
  return mfx.RateControlMethod != MFX_RATECONTROL_CQP &&
         mfx.RateControlMethod != MFX_RATECONTROL_ICQ &&
         mfx.RateControlMethod != MFX_RATECONTROL_LA_ICQ;
}

void NameStructure(const mfxInfoMFX& asked, const mfxInfoMFX& got, AttributeReader& reader) {
  Name({kProfile, asked.CodecProfile, got.CodecProfile, " as profile_idc"}, reader);
  if (asked.CodecLevel > 0 && asked.CodecLevel != got.CodecLevel) {
    reader.Adjust(kLevel, "the encoder uses " + std::to_string(got.CodecLevel / 10) + "." +
                              std::to_string(got.CodecLevel % 10));
  }
  Name({kInterlace, asked.FrameInfo.PicStruct, got.FrameInfo.PicStruct, " as picture structure"},
       reader);
  Name({kGop, asked.GopPicSize, got.GopPicSize, " pictures"}, reader);
  if (asked.GopRefDist > 0 && asked.GopRefDist != got.GopRefDist) {
    reader.Adjust(kBPictures,
                  "the encoder uses " + std::to_string(got.GopRefDist - 1) + " in a row");
  }
  if (asked.TargetUsage != got.TargetUsage && got.TargetUsage > 0) {
    reader.Adjust(kQuality, std::to_string(8 - asked.TargetUsage),
                  "the encoder uses " + std::to_string(8 - got.TargetUsage));
  }
}

}  // namespace

void NameCorrections(const mfxVideoParam& asked, const mfxVideoParam& got,
                     AttributeReader& reader) {
  NameStructure(asked.mfx, got.mfx, reader);
  if (asked.mfx.RateControlMethod != got.mfx.RateControlMethod) {
    Name({kRateControl, asked.mfx.RateControlMethod, got.mfx.RateControlMethod, " as method"},
         reader);
  } else if (HasBitRate(asked.mfx)) {
    NameRates(asked, got, reader);
  } else {
    NameQuantisers(asked.mfx, got.mfx, reader);
  }
}

}  // namespace xv
