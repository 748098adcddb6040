#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "base/text.h"
#include "codec/hardware.h"
#include "codec/pixel_format_pick.h"
#include "codec/stream_attributes.h"
#include "media/pixel_layout.h"
#include "media/validity.h"
#include "picture/image_view.h"
#include "picture/pixel_formats.h"

namespace xv {
namespace {

constexpr std::size_t kMostHeaderBytes = 1024;
constexpr int kDefaultGop = 15;
constexpr std::string_view kDefaultBitrate = "5M";

// Read where FFmpeg encodes, and by nobody here.
constexpr std::string_view kForFFmpegAlone[] = {kSlices.name, kIntraDc.name, kGopTimecode.name,
                                                kD10.name, kDvFormat.name};

// The other spellings of rate and distance of key frames mean the same to every encoder.
void SettleSpellings(XMLParse::CoXMLNode& node) {
  if (const std::string rate = node.Get(kBitrate); !rate.empty()) (void)node.SetText("b", rate);
  if (const std::string gop = node.Get(kGopSize); !gop.empty()) (void)node.SetText("g", gop);
}

Status TryOpen(StreamHolder& holder, HwEncoder& encoder) {
  HwOpenRequest request;
  request.vid = holder.vid;
  if (holder.pseudo == PseudoCodec::kQuick264) request.vid.nHeight = holder.codec->height;
  request.node = holder.node.get();
  request.hevc = holder.pseudo == PseudoCodec::kNvenc265;
  request.timeBase = holder.codec->time_base;
  HwOpenReport report;
  const Status opened = encoder.Open(request, &report);
  if (opened.Failed()) {
    holder.failure = encoder.Failure();
    return opened;
  }
  holder.adjusted = std::move(report.adjusted);
  holder.unusedOptions.insert(holder.unusedOptions.end(), report.unused.begin(),
                              report.unused.end());
  return S_OK;
}

// As often as the ladder of FFmpeg's encoders has rungs: once more for each flag of interlaced
// coding, and once without options. What is missing on the machine will not come meanwhile.
Status OpenEncoder(StreamHolder& holder, HwEncoder& encoder) {
  int attempts = 2;
  for (const int flag : {AV_CODEC_FLAG_INTERLACED_ME, AV_CODEC_FLAG_INTERLACED_DCT}) {
    if ((holder.codec->flags & flag) != 0) ++attempts;
  }
  Status opened = E_FAIL;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    opened = TryOpen(holder, encoder);
    if (!opened.Failed() || opened == Status(XV_E_VENDOR_LIBRARY)) return opened;
  }
  return opened;
}

// An encoder without parameter sets leaves them to its stream.
Status TakeHeaders(AVCodecContext& context, HwEncoder& encoder) {
  std::array<std::uint8_t, kMostHeaderBytes> bytes{};
  std::size_t size = bytes.size();
  if (encoder.GetHeaders(bytes.data(), &size).Failed() || size == 0 || size > bytes.size()) {
    return S_OK;
  }
  auto* copy = static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
  if (copy == nullptr) return E_OUTOFMEMORY;
  std::memcpy(copy, bytes.data(), size);
  context.extradata = copy;
  context.extradata_size = static_cast<int>(size);
  return S_OK;
}

void NoteUnknown(StreamHolder& holder) {
  const std::span<const AttributeRow> rows = HwAttributes(holder.pseudo);
  for (const auto& [name, value] : holder.node->Attributes()) {
    const bool ofVendor = FindRow(rows, name) != nullptr;
    const bool forFFmpeg =
        std::any_of(std::begin(kForFFmpegAlone), std::end(kForFFmpegAlone),
                    [&name = name](std::string_view one) { return EqualsNoCase(name, one); });
    if (!ofVendor && (forFFmpeg || FindRow(VideoAttributes(), name) == nullptr)) {
      holder.unusedOptions.push_back(name);
    }
  }
}

}  // namespace

int HardwarePixelFormat(PseudoCodec code, std::uint32_t fourcc, bool mode422) {
  if (code == PseudoCodec::kQuick264) return AV_PIX_FMT_NV12;
  const PseudoCodecRecord& record = *FindPseudoCodec(static_cast<std::uint32_t>(code));
  const bool nvenc = code == PseudoCodec::kNvenc264 || code == PseudoCodec::kNvenc265;
  const bool planar = IsPlanar420(fourcc) || fourcc == kFccNV12;
  if (nvenc && (planar || (IsRgb(fourcc) && fourcc != kFccR210))) {
    return PixelFormatFromFourCC(fourcc);
  }
  return PickPixelFormat(record.reported, record.pixelFormats.data(), fourcc, mode422).format;
}

int HardwareHeight(PseudoCodec code, const XV_VID_PROPS& vid) {
  constexpr int kNtscLines = 486;
  constexpr int kCodedNtscLines = 480;
  const int lines = std::abs(vid.nHeight);
  const bool nvenc = code == PseudoCodec::kNvenc264 || code == PseudoCodec::kNvenc265;
  if (nvenc && lines == kNtscLines) return kCodedNtscLines;
  return InterlaceOrder(vid) != 0 ? lines & ~7 : lines;
}

Status OpenHardwareCodec(StreamHolder& holder) {
  SettleSpellings(*holder.node);
  Ref<HwEncoder>& slot = *holder.hw.Slot(holder.pseudo);
  if (!slot) slot = MakeHwEncoder(holder.pseudo);
  if (!slot) {
    holder.failure = "this build has no such encoder";
    return XV_E_VENDOR_LIBRARY;
  }
  const Status opened = OpenEncoder(holder, *slot);
  if (opened.Failed()) {
    slot = nullptr;
    return opened == Status(XV_E_VENDOR_LIBRARY) ? opened : Status(E_FAIL);
  }
  NoteUnknown(holder);
  AVCodecContext& context = *holder.codec;
  RETURN_IF_FAILED(TakeHeaders(context, *slot));
  context.coded_width = context.width;
  context.coded_height = context.height;
  context.gop_size = holder.node->Find(kG).value_or(kDefaultGop);
  const std::int64_t rate = holder.node->Get(kB);
  context.bit_rate = rate > 0 ? rate : ReadRate(kDefaultBitrate);
  context.flags |= static_cast<int>(AV_CODEC_FLAG_CLOSED_GOP);
  return S_OK;
}

}  // namespace xv
