#include "hw/nvenc/nvenc_attributes.h"

namespace xv {
namespace nvenc {
namespace {

// The rows of both codecs.
#define XV_COMMON_ROWS                                                                         \
  kForceGpu, kPreset, kDynamicResolution, kDisableSpsPps, kGop, kIdrPeriod, kBPictures,        \
      kMvPrecision, kInterlace, kSliceMode, kSliceModeData, kIntraRefreshPeriod,               \
      kIntraRefreshCount, kLtrFrames, kBufferingSei, kTimingSei, kAud, kRateControl, kBitRate, \
      kMaxRate, kVbvSize, kVbvDelay, kAq, kInitialQpOn, kInitialQpI, kInitialQpP, kInitialQpB, \
      kMinQpOn, kMinQpI, kMinQpP, kMinQpB, kMaxQpOn, kMaxQpI, kMaxQpP, kMaxQpB

constexpr AttributeRow kH264[] = {
    XV_COMMON_ROWS, kProfile,       kLevel264,      kDeblock264,     kDisableCabac, kSeparatePlanes,
    kTemporalSvc,   kHierarchicalP, kHierarchicalB, kTemporalLayers, kRefFrames,    kLtrTrust,
    kConstrained,   kTransform8x8,  kFmo,           kPackingSei,     kRecoverySei,
};
constexpr AttributeRow kHevc[] = {
    XV_COMMON_ROWS,    kLevelHevc, kTier,      kDeblockHevc,
    kConstrainedIntra, kLtr,       kDpbFrames, kMoreLayers,
};
#undef XV_COMMON_ROWS

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

bool IsHevcLevel(std::string_view text) {
  return text.size() == 3 && IsDigit(text[0]) && text[1] == '.' && IsDigit(text[2]);
}

bool IsH264Level(std::string_view text) { return text == "1.0b" || IsHevcLevel(text); }

}  // namespace nvenc

std::span<const AttributeRow> NvencAttributes(bool hevc) {
  return hevc ? std::span<const AttributeRow>(nvenc::kHevc) : nvenc::kH264;
}

}  // namespace xv
