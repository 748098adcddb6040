#include "catalogue/ffmpeg_rows.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

#include "base/text.h"
#include "catalogue/encoder_names.h"
#include "catalogue/ffmpeg_options.h"
#include "catalogue/refused_cells.h"
#include "codec/container_sound.h"
#include "codec/former_names.h"
#include "codec/option_limits.h"
#include "codec/stream_attributes.h"
#include "contracts/av_handles.h"

namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

namespace {

// The encoder's option behind a row, under its present name where the row has a former one.
const OptionInfo* OptionOfRow(const OptionInfos& options, const std::string& name) {
  const OptionInfo* option = FindOption(options, name);
  return option != nullptr ? option : FindOption(options, PresentNameOf(name));
}

// Those of the listed words that the option has; all that it has where the list's are of others.
std::string WordsInCommon(const std::string& listed, const OptionInfo& option) {
  std::string out;
  for (const std::string& word : ReadList(listed)) {
    const auto known =
        std::find_if(option.constants.begin(), option.constants.end(),
                     [&](const OptionConstant& constant) { return constant.name == word; });
    if (known != option.constants.end()) out.append(out.empty() ? "" : ", ").append(word);
  }
  return out.empty() ? option.Words() : out;
}

void ShowBound(CoXMLNode& row, const char* name, const std::optional<double>& bound) {
  if (bound) {
    row.SetAttribute(name, RenderDouble(*bound));
  } else {
    (void)row.RemoveAttribute(name);
  }
}

// Types that the schema has no word for keep what the list says.
void ShowOption(const OptionInfo& option, CoXMLNode& row) {
  if (option.type.empty()) return;
  std::string shown = ShownDefault(option);
  if (!option.constants.empty()) {
    const std::string words = row.Text("values");
    row.SetAttribute("values",
                     WordsInCommon(EqualsNoCase(row.Name(), "profile") ? "" : words, option));
    const std::vector<std::string> values = ReadList(row.Text("values"));
    const bool one = std::find(values.begin(), values.end(), shown) != values.end();
    if (option.type == "option" && !one) shown.clear();
  }
  // Under a former name the default is the present name's row.
  row.SetAttribute("default", EqualsNoCase(row.Name(), option.name) ? shown : std::string());
  ShowBound(row, "min", option.minimum);
  ShowBound(row, "max", option.maximum);
}

// The limits of these are derived from the bit rate where it is given, so that giving the default
// rate is another recording; see SetRateLimits.
bool LimitsFollowTheRate(const AVCodec& codec, const std::string& name) {
  const bool mpeg = codec.id == AV_CODEC_ID_MPEG1VIDEO || codec.id == AV_CODEC_ID_MPEG2VIDEO ||
                    codec.id == AV_CODEC_ID_MPEG4;
  return mpeg && (name == "b" || name == "maxrate" || name == "bufsize");
}

// An encoder without a rate has none to show; one that must be given a rate keeps the list's.
bool HasNoRateToShow(const OptionInfo& option) {
  return option.name == "b" && option.defaultValue == "0";
}

// The rows of one codec.
class CodecRows {
 public:
  CodecRows(const AVCodec& codec, CoXMLNode& entry)
      : codec_(codec),
        options_(ListEncoderOptions(codec)),
        ours_(codec.type == AVMEDIA_TYPE_VIDEO ? VideoAttributes() : AudioAttributes()),
        schema_(entry.SchemaNode(true)) {}

  void Write(const CoXMLNode& shared) {
    for (const XMLNodePtr& row : schema_->Children()) (void)Show(*row, false);
    for (const XMLNodePtr& row : shared.Children()) {
      if (schema_->FindChild(row->Name())) continue;
      const XMLNodePtr copy = row->DeepCopy();
      if (Show(*copy, true)) (void)schema_->AttachChild(copy);
    }
    schema_->SetAttribute("inherit", "false");
  }

 private:
  // False where nobody takes what the row says.
  bool Show(CoXMLNode& row, bool shared) const {
    const std::string name = row.Name();
    const AttributeRow* our = FindRow(ours_, name);
    if (our != nullptr && !our->toFFmpeg) return true;
    const OptionInfo* option = OptionOfRow(options_, name);
    if (option == nullptr) {
      row.SetAttribute("default", "");
      return false;
    }
    const std::string listed = row.Text("default");
    ShowOption(*option, row);
    ShowLimits(*option, row);
    if (HasNoRateToShow(*option)) row.SetAttribute("default", shared ? "" : listed);
    if (LimitsFollowTheRate(codec_, name)) row.SetAttribute("default", "");
    return true;
  }

  // Where the encoder stands less than FFmpeg takes.
  void ShowLimits(const OptionInfo& option, CoXMLNode& row) const {
    for (const OptionLimit& limit : LimitsOf(codec_)) {
      if (option.name != limit.name) continue;
      ShowBound(row, "min", limit.least);
      ShowBound(row, "max", limit.most);
    }
  }

  const AVCodec& codec_;
  const OptionInfos options_;
  const std::span<const AttributeRow> ours_;
  const XMLNodePtr schema_;
};

void WriteCodecs(CoXMLNode& codecs) {
  const XMLNodePtr shared = codecs.SchemaNode(true);
  for (const XMLNodePtr& entry : codecs.Children()) {
    const std::string id = entry->Text("id");
    const AVCodec* codec = id.empty() ? nullptr : FindEncoder(id);
    if (codec != nullptr) CodecRows(*codec, *entry).Write(*shared);
  }
}

// "" where the format has no encoder of that kind, or the encoder decides.
std::string RateOfDefaultCodec(const AVOutputFormat* muxer, bool video) {
  const AVCodecID id = muxer == nullptr ? AV_CODEC_ID_NONE
                       : video          ? muxer->video_codec
                                        : muxer->audio_codec;
  const AVCodec* codec = avcodec_find_encoder(id);
  if (codec == nullptr) return {};
  const OptionInfos options = ListEncoderOptions(*codec);
  const OptionInfo* rate = FindOption(options, "b");
  const bool none =
      rate == nullptr || HasNoRateToShow(*rate) || LimitsFollowTheRate(*codec, rate->name);
  return none ? std::string() : ShownDefault(*rate);
}

void WriteMuxerRows(const AVOutputFormat& muxer, CoXMLNode& format) {
  const OptionInfos options = ListMuxerOptions(muxer);
  for (const XMLNodePtr& row : format.SchemaNode(true)->Children()) {
    const OptionInfo* option = OptionOfRow(options, row->Name());
    if (option != nullptr && row->Name() != "resend_headers") ShowOption(*option, *row);
  }
}

// What `format` says of codecs by itself: its default codec's rate, and all rows of a codec that
// the general list (`declared`) has no entry for.
void WriteCodecsOf(const CoXMLNode& format, bool video, const CoXMLNode& declared) {
  const XMLNodePtr codecs = format.FindChild(video ? "video" : "audio");
  if (!codecs) return;
  const std::vector<XMLNodePtr> known = declared.Children();
  for (const XMLNodePtr& codec : codecs->Children()) {
    const std::string id = codec->Text("id");
    const XMLNodePtr rate = codec->FindChild("attributes_info::b");
    if (id.empty() && rate) {
      rate->SetAttribute("default", RateOfDefaultCodec(MuxerOf(format.Text("id")), video));
    }
    const bool listed = std::any_of(known.begin(), known.end(), [&](const XMLNodePtr& one) {
      return EqualsNoCase(one->Text("id"), id);
    });
    const AVCodec* encoder = listed ? nullptr : FindEncoder(id);
    const XMLNodePtr shared = declared.FindChild("attributes_info");
    if (encoder != nullptr && shared) CodecRows(*encoder, *codec).Write(*shared);
  }
}

// What the container takes less of than its encoders make.
void NarrowSound(const AVOutputFormat& muxer, CoXMLNode& format) {
  const XMLNodePtr split = format.FindChild("attributes_info::split_channels");
  if (split && TakesOneAudioTrack(muxer.name)) split->SetAttribute("values", "0");
  const XMLNodePtr audio = format.FindChild("audio");
  if (!audio) return;
  for (const XMLNodePtr& codec : audio->Children()) {
    const std::string id = codec->Text("id");
    const auto rates = ContainerSampleRates(muxer.name, CodecIdOf(id));
    if (rates.empty() || id.empty()) continue;
    const XMLNodePtr row = codec->SchemaNode(true)->Child("ar", true);
    row->SetAttribute("type", "option_fixed");
    row->SetAttribute("default", "");
    row->SetAttribute("values", fmt::format("{}", fmt::join(rates, ", ")));
    row->SetValue("Sample rate in Hz; without it one of these, the nearest to the input's");
  }
}

}  // namespace

void ShowFFmpegsRows(CoXMLNode& list) {
  const XMLNodePtr formats = list.Child("formats", true);
  for (const bool video : {true, false}) {
    const XMLNodePtr codecs = list.FindChild(video ? "video_codecs" : "audio_codecs");
    if (!codecs) continue;
    WriteCodecs(*codecs);
    for (const XMLNodePtr& format : formats->Children()) WriteCodecsOf(*format, video, *codecs);
  }
  for (const XMLNodePtr& format : formats->Children()) {
    const AVOutputFormat* muxer = MuxerOf(format->Text("id"));
    if (muxer == nullptr) continue;
    WriteMuxerRows(*muxer, *format);
    NarrowSound(*muxer, *format);
  }
}

}  // namespace xv
