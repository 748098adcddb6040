#include "component/stream_record.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/text.h"
#include "media/frame_duration.h"

namespace xv {
namespace {

constexpr std::uint32_t kUnspecified = 2;  // of ITU-T H.273
constexpr std::size_t kMostExtra = 1 << 24;

std::uint32_t Known(int code) {
  return code <= 0 || code == static_cast<int>(kUnspecified) ? 0 : static_cast<std::uint32_t>(code);
}

template <class Code>
Code CodeOf(std::uint32_t value) {
  return static_cast<Code>(value == 0 ? kUnspecified : value);
}

eXvInterlace InterlaceOf(AVFieldOrder order) {
  switch (order) {
    case AV_FIELD_PROGRESSIVE:
      return eXvI_Progressive;
    case AV_FIELD_TT:
    case AV_FIELD_TB:
      return eXvI_TopFirst;
    case AV_FIELD_BB:
    case AV_FIELD_BT:
      return eXvI_BottomFirst;
    default:
      return eXvI_Auto;
  }
}

AVFieldOrder FieldOrderOf(std::uint32_t interlace) {
  if (interlace == eXvI_Progressive) return AV_FIELD_PROGRESSIVE;
  if (interlace == eXvI_TopFirst) return AV_FIELD_TT;
  return interlace == eXvI_BottomFirst ? AV_FIELD_BB : AV_FIELD_UNKNOWN;
}

void SetTag(AVCodecID codec, XV_STREAM_INFO* info) {
  const std::u16string name = Utf16FromUtf8(avcodec_get_name(codec));
  std::copy_n(name.begin(), std::min(name.size(), std::size(info->tag) - 1), info->tag);
}

void DescribeVideo(const AVCodecParameters& from, AVRational rate, XV_STREAM_INFO* info) {
  info->eType = eXfMT_Video;
  info->nWidth = from.width;
  info->nHeight = from.height;
  info->dblRate = rate.den > 0 ? av_q2d(rate) : 0;
  if (from.sample_aspect_ratio.num > 0 && from.height > 0) {
    av_reduce(&info->nAspectX, &info->nAspectY,
              std::int64_t{from.width} * from.sample_aspect_ratio.num,
              std::int64_t{from.height} * from.sample_aspect_ratio.den, INT32_MAX);
  }
  info->eInterlace = InterlaceOf(from.field_order);
  info->nReorder = static_cast<std::uint32_t>(std::max(from.video_delay, 0));
  info->nPrimaries = Known(from.color_primaries);
  info->nTransfer = Known(from.color_trc);
  info->nMatrix = from.color_space == AVCOL_SPC_UNSPECIFIED
                      ? 0
                      : static_cast<std::uint32_t>(from.color_space) + 1;
  info->nRange = static_cast<std::uint32_t>(from.color_range);
}

void DescribeSound(const AVCodecParameters& from, XV_STREAM_INFO* info) {
  info->eType = eXfMT_Audio;
  info->nSamplesPerSec = from.sample_rate;
  info->nChannels = from.ch_layout.nb_channels;
  info->nBlock = from.block_align;
  info->nFrameSamples = from.frame_size;
}

void FillVideo(const XV_STREAM_INFO& info, AVCodecParameters* to) {
  to->codec_type = AVMEDIA_TYPE_VIDEO;
  to->width = info.nWidth;
  to->height = info.nHeight;
  if (info.nAspectX > 0 && info.nAspectY > 0 && info.nWidth > 0 && info.nHeight > 0) {
    av_reduce(&to->sample_aspect_ratio.num, &to->sample_aspect_ratio.den,
              std::int64_t{info.nAspectX} * info.nHeight, std::int64_t{info.nAspectY} * info.nWidth,
              INT32_MAX);
  }
  to->field_order = FieldOrderOf(info.eInterlace);
  to->video_delay = static_cast<int>(info.nReorder);
  to->color_primaries = CodeOf<AVColorPrimaries>(info.nPrimaries);
  to->color_trc = CodeOf<AVColorTransferCharacteristic>(info.nTransfer);
  to->color_space =
      info.nMatrix == 0 ? AVCOL_SPC_UNSPECIFIED : static_cast<AVColorSpace>(info.nMatrix - 1);
  to->color_range = static_cast<AVColorRange>(info.nRange);
}

void FillSound(const XV_STREAM_INFO& info, AVCodecParameters* to) {
  to->codec_type = AVMEDIA_TYPE_AUDIO;
  to->sample_rate = info.nSamplesPerSec;
  av_channel_layout_default(&to->ch_layout, std::clamp(info.nChannels, 0, 64));
  to->block_align = info.nBlock;
  to->frame_size = info.nFrameSamples;
}

Status FillExtra(const XV_STREAM_INFO& info, AVCodecParameters* to) {
  if (info.pbExtra == nullptr || info.cbExtra == 0) return S_OK;
  if (info.cbExtra > kMostExtra) return E_INVALIDARG;
  to->extradata =
      static_cast<std::uint8_t*>(av_mallocz(info.cbExtra + AV_INPUT_BUFFER_PADDING_SIZE));
  if (to->extradata == nullptr) return E_OUTOFMEMORY;
  std::memcpy(to->extradata, info.pbExtra, info.cbExtra);
  to->extradata_size = static_cast<int>(info.cbExtra);
  return S_OK;
}

const AVBitStreamFilter* HeaderFilter() { return av_bsf_get_by_name("extract_extradata"); }

}  // namespace

StreamRecord::StreamRecord(const XV_STREAM_INFO& source) : info(source) {
  const bool some = source.pbExtra != nullptr && source.cbExtra <= kMostExtra;
  SetExtra(some ? std::vector<std::uint8_t>(source.pbExtra, source.pbExtra + source.cbExtra)
                : std::vector<std::uint8_t>());
}

void StreamRecord::SetExtra(std::vector<std::uint8_t> bytes) {
  extra = std::move(bytes);
  info.cbExtra = static_cast<std::uint32_t>(extra.size());
  info.pbExtra = extra.empty() ? nullptr : extra.data();
}

AVRational TimeBaseOf(const XV_STREAM_INFO& info) {
  return info.nTimeBaseNum > 0 && info.nTimeBaseDen > 0
             ? AVRational{info.nTimeBaseNum, info.nTimeBaseDen}
             : kPacketTicks;
}

std::shared_ptr<StreamRecord> RecordOf(const AVCodecParameters& parameters, AVRational rate) {
  auto record = std::make_shared<StreamRecord>();
  XV_STREAM_INFO& info = record->info;
  info.nTimeBaseNum = kPacketTicks.num;
  info.nTimeBaseDen = kPacketTicks.den;
  if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) DescribeVideo(parameters, rate, &info);
  if (parameters.codec_type == AVMEDIA_TYPE_AUDIO) DescribeSound(parameters, &info);
  SetTag(parameters.codec_id, &info);
  info.nBits = parameters.bits_per_coded_sample;
  info.nBitrate =
      static_cast<std::int32_t>(std::clamp<std::int64_t>(parameters.bit_rate, 0, INT32_MAX));
  info.fccTag = parameters.codec_tag;
  info.nProfile = std::max(parameters.profile, 0);
  info.nLevel = std::max(parameters.level, 0);
  if (parameters.extradata_size > 0) {
    record->SetExtra({parameters.extradata, parameters.extradata + parameters.extradata_size});
  }
  return record;
}

AVCodecID CodecOf(const XV_STREAM_INFO& info) {
  const std::u16string_view all(info.tag, std::size(info.tag));
  const std::string name = Utf8FromUtf16(all.substr(0, all.find(u'\0')));
  const AVCodecDescriptor* codec = avcodec_descriptor_get_by_name(name.c_str());
  return codec == nullptr ? AV_CODEC_ID_NONE : codec->id;
}

Status ParametersOf(const XV_STREAM_INFO& info, AVCodecParameters* parameters) {
  parameters->codec_id = CodecOf(info);
  if (parameters->codec_id == AV_CODEC_ID_NONE) return E_INVALIDARG;
  if (info.eType == eXfMT_Video) {
    FillVideo(info, parameters);
  } else if (info.eType == eXfMT_Audio) {
    FillSound(info, parameters);
  } else {
    return E_INVALIDARG;
  }
  parameters->bits_per_coded_sample = info.nBits;
  parameters->bit_rate = info.nBitrate;
  parameters->codec_tag = info.fccTag;
  if (info.nProfile > 0) parameters->profile = info.nProfile;
  if (info.nLevel > 0) parameters->level = info.nLevel;
  return FillExtra(info, parameters);
}

bool CarriesHeaders(AVCodecID codec) {
  const AVBitStreamFilter* filter = HeaderFilter();
  if (filter == nullptr || filter->codec_ids == nullptr) return false;
  for (const AVCodecID* id = filter->codec_ids; *id != AV_CODEC_ID_NONE; ++id) {
    if (*id == codec) return true;
  }
  return false;
}

std::vector<std::uint8_t> HeadersIn(const AVPacket& packet, const AVCodecParameters& parameters) {
  AVBSFContext* made = nullptr;
  if (!CarriesHeaders(parameters.codec_id) || av_bsf_alloc(HeaderFilter(), &made) < 0) return {};
  const AvPtr<AVBSFContext> filter(made);
  AvPtr<AVPacket> copy(av_packet_clone(&packet));
  if (!copy || avcodec_parameters_copy(filter->par_in, &parameters) < 0 ||
      av_bsf_init(filter.get()) < 0 || av_bsf_send_packet(filter.get(), copy.get()) < 0 ||
      av_bsf_receive_packet(filter.get(), copy.get()) < 0) {
    return {};
  }
  std::size_t size = 0;
  const std::uint8_t* data = av_packet_get_side_data(copy.get(), AV_PKT_DATA_NEW_EXTRADATA, &size);
  return data == nullptr ? std::vector<std::uint8_t>()
                         : std::vector<std::uint8_t>(data, data + size);
}

}  // namespace xv
