#include "support/vendor/nvenc_encoder.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "support/vendor/ledger.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace xv::vendor {
namespace {

constexpr char kStartCode[] = "\0\0\0\1";

// Start code and unit, one after the other.
std::vector<std::string> Units(const std::string& stream) {
  std::vector<std::string> units;
  const std::string code("\0\0\1", 3);
  for (std::size_t at = stream.find(code); at != std::string::npos;) {
    const std::size_t next = stream.find(code, at + 3);
    std::string unit = stream.substr(at + 3, next == std::string::npos ? next : next - at - 3);
    while (next != std::string::npos && !unit.empty() && unit.back() == 0) unit.pop_back();
    units.push_back(std::string(kStartCode, 4) + unit);
    at = next;
  }
  return units;
}

int UnitType(const std::string& unit, bool hevc) {
  const int byte = static_cast<unsigned char>(unit.at(4));
  return hevc ? byte >> 1 & 63 : byte & 31;
}

bool IsParameterSet(const std::string& unit, bool hevc) {
  const int type = UnitType(unit, hevc);
  return hevc ? type >= 32 && type <= 34 : type == 7 || type == 8;
}

const NV_ENC_CONFIG_H264& H264(const EncoderSetup& setup) {
  return setup.config.encodeCodecConfig.h264Config;
}
const NV_ENC_CONFIG_HEVC& Hevc(const EncoderSetup& setup) {
  return setup.config.encodeCodecConfig.hevcConfig;
}

bool SameProfile(const EncoderSetup& setup, const GUID& guid) {
  return std::memcmp(&setup.config.profileGUID, &guid, sizeof guid) == 0;
}

std::string H264Profile(const EncoderSetup& setup) {
  if (SameProfile(setup, NV_ENC_H264_PROFILE_BASELINE_GUID)) return "baseline";
  if (SameProfile(setup, NV_ENC_H264_PROFILE_MAIN_GUID)) return "main";
  return "high";
}

std::string H264Words(const EncoderSetup& setup) {
  const NV_ENC_CONFIG_H264& h264 = H264(setup);
  const bool cabac = h264.entropyCodingMode != NV_ENC_H264_ENTROPY_CODING_MODE_CAVLC &&
                     H264Profile(setup) != "baseline";
  std::string words = fmt::format(
      "scenecut=0:b-adapt=0:rc-lookahead=0:sync-lookahead=0:mbtree=0:b-pyramid=none:weightp=0:"
      "keyint=infinite:force-cfr=1:cabac={}:aud={}",
      int{cabac}, h264.outputAUD != 0U ? 1 : 0);
  if (h264.disableDeblockingFilterIDC == 1) words += ":no-deblock=1";
  if (h264.level > 9) words += fmt::format(":level={}", h264.level);
  if (h264.sliceMode == 3 && h264.sliceModeData > 1) {
    words += fmt::format(":slices={}", h264.sliceModeData);
  }
  return words;
}

std::string HevcWords(const EncoderSetup& setup) {
  const NV_ENC_CONFIG_HEVC& hevc = Hevc(setup);
  std::string words = fmt::format(
      "log-level=none:scenecut=0:b-adapt=0:rc-lookahead={}:b-pyramid=0:keyint=-1:open-gop=0:"
      "pools=none:frame-threads=1:aud={}",
      setup.interval() > 1 ? setup.interval() : 0, hevc.outputAUD != 0U ? 1 : 0);
  if (hevc.level >= 30) {
    words += fmt::format(":level-idc={}:high-tier={}", hevc.level / 3, hevc.tier != 0 ? 1 : 0);
  }
  return words;
}

void Set(AVCodecContext* context, const char* name, const std::string& value) {
  if (av_opt_set(context->priv_data, name, value.c_str(), 0) < 0) {
    throw std::runtime_error(fmt::format("{} takes no {}={}", context->codec->name, name, value));
  }
}

void SetRate(const EncoderSetup& setup, AVCodecContext* context) {
  const NV_ENC_RC_PARAMS& rate = setup.config.rcParams;
  if (setup.lossless) return Set(context, "qp", "0");
  // libx265's rates look ahead, and a group must come out the same each time.
  const bool fixed =
      rate.rateControlMode == NV_ENC_PARAMS_RC_CONSTQP || (setup.hevc && setup.interval() > 1);
  if (fixed) {
    Set(context, "qp", std::to_string(rate.constQP.qpInterP > 0 ? rate.constQP.qpInterP : 26));
  } else {
    context->bit_rate = rate.averageBitRate > 0 ? rate.averageBitRate : 3000000;
  }
}

void SetGeometry(const EncoderSetup& setup, AVCodecContext* context) {
  context->width = setup.width;
  context->height = setup.height;
  context->pix_fmt = AV_PIX_FMT_YUV420P;
  context->framerate = {static_cast<int>(setup.rateNumerator),
                        static_cast<int>(setup.rateDenominator)};
  context->time_base = av_inv_q(context->framerate);
  context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  if (setup.config.frameFieldMode != NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME) {
    context->flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
  }
}

ContextPtr OpenEncoder(const EncoderSetup& setup) {
  const AVCodec* codec = avcodec_find_encoder_by_name(setup.hevc ? "libx265" : "libx264");
  if (codec == nullptr) throw std::runtime_error("FFmpeg has no encoder for the stand-in");
  ContextPtr context(avcodec_alloc_context3(codec));
  SetGeometry(setup, context.get());
  context->log_level_offset = AV_LOG_TRACE;  // the client's log is its own
  context->thread_count = 1;
  context->gop_size = 1 << 20;
  const bool groups = setup.interval() > 1;
  Set(context.get(), "preset", "ultrafast");
  if (!groups) Set(context.get(), "tune", "zerolatency");
  Set(context.get(), "forced-idr", "1");
  Set(context.get(), setup.hevc ? "x265-params" : "x264-params",
      setup.hevc ? HevcWords(setup) : H264Words(setup));
  if (!setup.hevc && !setup.lossless) Set(context.get(), "profile", H264Profile(setup));
  context->max_b_frames = groups ? static_cast<int>(setup.interval()) - 1 : 0;
  SetRate(setup, context.get());
  if (avcodec_open2(context.get(), codec, nullptr) < 0) {
    throw std::runtime_error(fmt::format("{} did not open", codec->name));
  }
  return context;
}

NV_ENC_PIC_TYPE TypeOf(const AVPacket& packet) {
  if ((packet.flags & AV_PKT_FLAG_KEY) != 0) return NV_ENC_PIC_TYPE_IDR;
  const std::uint8_t* stats = av_packet_get_side_data(&packet, AV_PKT_DATA_QUALITY_STATS, nullptr);
  if (stats == nullptr) return NV_ENC_PIC_TYPE_P;
  return stats[4] == AV_PICTURE_TYPE_B   ? NV_ENC_PIC_TYPE_B
         : stats[4] == AV_PICTURE_TYPE_I ? NV_ENC_PIC_TYPE_I
                                         : NV_ENC_PIC_TYPE_P;
}

struct PacketCloser {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

}  // namespace

unsigned EncoderSetup::gop() const {
  unsigned length = config.gopLength;
  const unsigned idr = hevc ? Hevc(*this).idrPeriod : H264(*this).idrPeriod;
  if (idr != 0) length = idr;
  return std::max(length, 1U);
}

unsigned EncoderSetup::interval() const {
  // Where libx264 has no B pictures either.
  const bool plain = empty || lossless || (!hevc && H264Profile(*this) == "baseline");
  return plain ? 1U : static_cast<unsigned>(std::max(config.frameIntervalP, 1));
}

LibraryEncoder::LibraryEncoder(const EncoderSetup& setup) : context_(OpenEncoder(setup)) {
  const std::string extra(reinterpret_cast<const char*>(context_->extradata),
                          static_cast<std::size_t>(context_->extradata_size));
  for (const std::string& unit : Units(extra)) {
    if (IsParameterSet(unit, setup.hevc)) headers_ += unit;
  }
}

std::vector<AccessUnit> LibraryEncoder::Encode(AVFrame* picture) {
  if (avcodec_send_frame(context_.get(), picture) < 0) {
    throw std::runtime_error("the encoder of the stand-in took no picture");
  }
  std::vector<AccessUnit> units;
  const std::unique_ptr<AVPacket, PacketCloser> packet(av_packet_alloc());
  while (avcodec_receive_packet(context_.get(), packet.get()) >= 0) {
    units.push_back({std::string(reinterpret_cast<const char*>(packet->data),
                                 static_cast<std::size_t>(packet->size)),
                     static_cast<std::uint64_t>(packet->pts), TypeOf(*packet)});
    av_packet_unref(packet.get());
  }
  return units;
}

PictureEncoder::PictureEncoder(const EncoderSetup& setup) : setup_(setup) {
  auto encoder = std::make_unique<LibraryEncoder>(setup_);
  headers_ = encoder->headers();
  if (setup_.interval() == 1) running_ = std::move(encoder);
}

std::vector<AccessUnit> PictureEncoder::Put(FramePtr picture, bool idr) {
  if (setup_.empty) return {EmptyUnit()};
  picture->pts = static_cast<std::int64_t>(put_++);
  picture->interlaced_frame =
      setup_.config.frameFieldMode != NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME ? 1 : 0;
  return setup_.interval() == 1 ? PutAtOnce(std::move(picture), idr)
                                : PutInGroup(std::move(picture), idr);
}

std::vector<AccessUnit> PictureEncoder::PutAtOnce(FramePtr picture, bool idr) {
  const bool first = idr || !started_ || given_ % setup_.gop() == 0;
  if (first) given_ = 0;
  ++given_;
  picture->pict_type = first ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_P;
  std::vector<AccessUnit> units = running_->Encode(picture.get());
  for (AccessUnit& unit : units) AddHeaders(&unit);
  started_ = true;
  return units;
}

// A group begins with an IDR picture; each reference brings those before it along. The last picture
// ahead of an IDR picture is a reference.
std::vector<AccessUnit> PictureEncoder::PutInGroup(FramePtr picture, bool idr) {
  std::vector<AccessUnit> units;
  if (idr || group_.size() == setup_.gop()) units = Finish();
  const std::size_t place = group_.size();
  const bool reference = place % setup_.interval() == 0 || place + 1 == setup_.gop();
  picture->pict_type = place == 0  ? AV_PICTURE_TYPE_I
                       : reference ? AV_PICTURE_TYPE_P
                                   : AV_PICTURE_TYPE_B;
  group_.push_back(std::move(picture));
  if (!reference) return units;
  for (AccessUnit& unit : EncodeGroup()) units.push_back(std::move(unit));
  return units;
}

// No encoder gives all that it holds and goes on, as a card does: the group is encoded anew from
// its IDR picture, and the units that are out already come out the same.
std::vector<AccessUnit> PictureEncoder::EncodeGroup() {
  LibraryEncoder encoder(setup_);
  std::vector<AccessUnit> units;
  for (const FramePtr& picture : group_) {
    for (AccessUnit& unit : encoder.Encode(picture.get())) units.push_back(std::move(unit));
  }
  for (AccessUnit& unit : encoder.Encode(nullptr)) units.push_back(std::move(unit));
  std::string again;
  for (std::size_t i = 0; i < given_; ++i) again += units[i].bytes;
  if (again != givenBytes_) Ledger::Get().Broke("the stand-in itself: a group came out otherwise");
  units.erase(units.begin(), units.begin() + static_cast<std::ptrdiff_t>(given_));
  for (AccessUnit& unit : units) {
    givenBytes_ += unit.bytes;
    AddHeaders(&unit);
  }
  given_ += units.size();
  started_ = true;
  return units;
}

std::vector<AccessUnit> PictureEncoder::Finish() {
  std::vector<AccessUnit> units;
  if (given_ < group_.size()) {
    group_.back()->pict_type = AV_PICTURE_TYPE_P;
    units = EncodeGroup();
  }
  group_.clear();
  givenBytes_.clear();
  given_ = 0;
  return units;
}

void PictureEncoder::AddHeaders(AccessUnit* unit) const {
  if (unit->type != NV_ENC_PIC_TYPE_IDR) return;
  const bool off = setup_.hevc ? Hevc(setup_).disableSPSPPS : H264(setup_).disableSPSPPS;
  const bool repeat = setup_.hevc ? Hevc(setup_).repeatSPSPPS : H264(setup_).repeatSPSPPS;
  if (off || (started_ && !repeat)) return;
  const std::vector<std::string> units = Units(unit->bytes);
  const bool delimited =
      !units.empty() && UnitType(units[0], setup_.hevc) == (setup_.hevc ? 35 : 9);
  std::string all;
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (i == (delimited ? 1U : 0U)) all += headers_;
    all += units[i];
  }
  unit->bytes = all;
}

AccessUnit PictureEncoder::EmptyUnit() {
  if (empty_.bytes.empty()) {
    FramePtr grey(av_frame_alloc());
    grey->format = AV_PIX_FMT_YUV420P;
    grey->width = setup_.width;
    grey->height = setup_.height;
    if (av_frame_get_buffer(grey.get(), 0) < 0) throw std::runtime_error("no memory");
    for (int i = 0; i < 3; ++i) {
      std::memset(grey->data[i], 128,
                  static_cast<std::size_t>(grey->linesize[i]) *
                      static_cast<std::size_t>(i == 0 ? setup_.height : setup_.height / 2));
    }
    grey->pts = 0;
    grey->pict_type = AV_PICTURE_TYPE_I;
    empty_ = running_->Encode(grey.get()).at(0);
    AddHeaders(&empty_);
  }
  AccessUnit unit = empty_;
  unit.picture = put_++;
  return unit;
}

}  // namespace xv::vendor
