#include "catalogue/pruner.h"

#include <fmt/format.h>

#include "base/text.h"
#include "catalogue/encoder_names.h"
#include "catalogue/hardware_bounds.h"
#include "catalogue/refused_cells.h"
#include "values/value_syntax.h"

namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

namespace {

constexpr const char* kQuickSync[] = {"q264", "q264sw", "q264hw", "h264_qsv"};

void Declare(CoXMLNode& codec, const char* name, const char* description,
             const std::string& value) {
  codec.SetAttribute(name, value);
  const XMLNodePtr entry = codec.SchemaNode(true)->Child(name, true);
  entry->SetAttribute("type", "read-only");
  entry->SetValue(description);
}

}  // namespace

std::string Pruner::QuickSyncReason(const std::string& codec) const {
  const HardwareReport::QuickSync& quick = report_.quickSync;
  if (!quick.hardware && !quick.software) return quick.reason;
  const bool needsHardware = EqualsNoCase(codec, "q264hw") || EqualsNoCase(codec, "h264_qsv");
  if (needsHardware && !quick.hardware) return "no hardware session";
  return {};
}

std::string Pruner::Reason(const std::string& codec) const {
  if (codec.empty()) return {};
  if (IsOwnId(codec)) return {};
  if (EqualsNoCase(codec, "n264")) return report_.nvencH264;
  if (EqualsNoCase(codec, "l264")) return report_.nvencLossless;
  if (EqualsNoCase(codec, "n265")) return report_.nvencHevc;
  if (EqualsNoCase(codec, "c264")) return report_.cuda;
  const bool quick = WordIndex(codec, kQuickSync) >= 0;
  if (quick && !EqualsNoCase(codec, "h264_qsv")) return QuickSyncReason(codec);
  if (FindEncoder(codec) == nullptr) return "this build of FFmpeg has no such encoder";
  if (quick) return QuickSyncReason(codec);
  return EqualsNoCase(codec, "h264_nvenc") ? report_.nvencFFmpeg : std::string();
}

const std::string& Pruner::CachedReason(const std::string& codec) {
  const auto found = reasons_.find(codec);
  return found != reasons_.end() ? found->second : reasons_[codec] = Reason(codec);
}

const std::string& Pruner::CachedCell(const std::string& format, const std::string& codec) {
  std::pair key(format, codec);
  const auto found = cells_.find(key);
  if (found != cells_.end()) return found->second;
  return cells_[std::move(key)] = RefusedCell(format, codec);
}

void Pruner::PruneCodecs(const std::string& format, CoXMLNode& codecs) {
  for (const XMLNodePtr& codec : codecs.Children()) {
    const std::string id = codec->Text("id");
    if (id.empty()) continue;
    const std::string& reason = CachedReason(id);
    const bool noVideo = EqualsNoCase(id, "null") && EqualsNoCase(codecs.Name(), "video");
    const std::string& cell =
        reason.empty() ? CachedCell(format, noVideo ? kNoVideoCell : id) : reason;
    if (cell.empty()) continue;
    gone_[{id, reason.empty() ? format : std::string()}] = cell;
    (void)codecs.RemoveChildNode(codec.get());
  }
}

std::string Pruner::PruneFormat(CoXMLNode& format) {
  const std::string id = format.Text("id");
  if (const XMLNodePtr audio = format.FindChild("audio")) PruneCodecs(id, *audio);
  const XMLNodePtr video = format.FindChild("video");
  if (!video) return {};
  PruneCodecs(id, *video);
  const XMLNodePtr schema = video->SchemaNode(false);
  const bool left = video->ChildCount() > (schema ? 1u : 0u);
  return left ? std::string() : std::string("none of its video codecs is available");
}

void Pruner::PruneFormats(CoXMLNode& formats) {
  for (const XMLNodePtr& format : formats.Children()) {
    const std::string reason = PruneFormat(*format);
    if (reason.empty()) continue;
    goneFormats_[{format->Text("id"), format->Text("name")}] = reason;
    (void)formats.RemoveChildNode(format.get());
  }
}

void Pruner::DescribeCodecs(CoXMLNode& videoCodecs) const {
  const HardwareReport::QuickSync& quick = report_.quickSync;
  for (const XMLNodePtr& codec : videoCodecs.Children()) {
    const std::string id = codec->Text("id");
    if (EqualsNoCase(id, "dvvideo")) {
      (void)codec->SetText("attributes_info::dv_format::values", "dvsd, dv25");
    }
    const int index = WordIndex(id, kQuickSync);
    if (index < 0 || index > 2) continue;
    Declare(*codec, "qs_version", "Intel QuickSync API Version",
            fmt::format("{}.{}", quick.major, quick.minor));
    const bool hardware = quick.hardware && !EqualsNoCase(id, "q264sw");
    Declare(*codec, "qs_impl", "Intel QuickSync Implementation",
            hardware ? fmt::format("MFX_IMPL_HARDWARE({:04X})", quick.implementation)
                     : std::string("MFX_IMPL_SOFTWARE"));
  }
}

void Pruner::WriteUnavailable(CoXMLNode& list) const {
  while (const XMLNodePtr old = list.FindChild("unavailable")) {
    (void)list.RemoveChildNode(old.get());
  }
  if (gone_.empty() && goneFormats_.empty()) return;
  const XMLNodePtr unavailable = list.AppendChild("unavailable");
  for (const auto& [what, reason] : goneFormats_) {
    const XMLNodePtr format = unavailable->AppendChild("format");
    format->SetAttribute("id", what.first);
    if (!what.second.empty()) format->SetAttribute("name", what.second);
    format->SetValue(reason);
  }
  for (const auto& [what, reason] : gone_) {
    const XMLNodePtr codec = unavailable->AppendChild("codec");
    codec->SetAttribute("id", what.first);
    if (!what.second.empty()) codec->SetAttribute("format", what.second);
    codec->SetValue(reason);
  }
}

void Pruner::Run(CoXMLNode& list) {
  if (const XMLNodePtr formats = list.FindChild("formats")) PruneFormats(*formats);
  if (const XMLNodePtr codecs = list.FindChild("video_codecs")) {
    DescribeCodecs(*codecs);
    WriteHardwareBounds(report_, *codecs);
  }
  WriteUnavailable(list);
}

}  // namespace xv
