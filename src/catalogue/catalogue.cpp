#include "catalogue/catalogue.h"

#include <algorithm>

#include "base/status_words.h"
#include "catalogue/builtin_list.h"
#include "catalogue/ffmpeg_rows.h"
#include "catalogue/fixed_lists.h"
#include "catalogue/list_builder.h"
#include "catalogue/list_file.h"
#include "catalogue/listed_info.h"

namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

namespace {
constexpr std::string_view kListNode = "supported_list";
}  // namespace

std::span<const AttributeRow> CatalogueAttributes() {
  static constexpr AttributeRow kRows[] = {kListPath, kListFull, kListUnicode, kListUpdate};
  return kRows;
}

template <class T>
auto Catalogue::Setting(const Attribute<T>& key) const {
  if (auto value = own_->Find(key)) return *value;
  const XMLNodePtr config = own_->FindChild("m_config");
  return config ? config->Get(key) : key.Default();
}

Pruner& Catalogue::GetPruner() {
  if (!pruner_) pruner_ = std::make_unique<Pruner>(probe_ ? probe_() : HardwareReport());
  return *pruner_;
}

void Catalogue::LoadList(CoXMLNode& list) {
  const std::string path = ListPathToRead(Setting(kListPath));
  bool cut = false;
  const Status status = LoadListFile(path, Setting(kListUnicode), list, &cut);
  fileIsNoList_ = status.Failed() || cut;
  fileFault_ = cut ? "ends early; what it holds is used" : std::string();
  if (status.Failed()) fileFault_ = "is no list: " + StatusWords(status);
  if (status.NothingDone()) {
    const XMLNodePtr read = CoXMLNode::Create({});
    (void)read->ReadXml(BuiltinList());
    ShowFFmpegsRows(*read);
    list.TakeContent(*read);
  }
  GetPruner().Forget();
}

void Catalogue::SaveList(const CoXMLNode& list) {
  // A file that was no list, or a part of one, is the user's, whatever it is.
  if (fileIsNoList_) return;
  const Status saved = SaveListFile(ListPath(Setting(kListPath)), Setting(kListUnicode), list);
  fileFault_ = saved.Failed() ? "is not saved: " + StatusWords(saved) : std::string();
}

void Catalogue::Rebuild(CoXMLNode& list) {
  namespace fixed = fixed_lists;
  list.ClearChildren();
  GetPruner().Forget();
  const NameList formats(fixed::kFormats);
  const NameList video(fixed::kVideoCodecs);
  const NameList audio(fixed::kAudioCodecs);
  FormatBuild build;
  const bool full = Setting(kListFull);
  if (!full) {
    build.names = &formats;
    build.videoCodecs = &video;
    build.audioCodecs = &audio;
    build.formatOptions = {fixed::kFormatOptionsLeftOut, false};
    build.videoOptions = {fixed::kVideoOptionsKept, true};
    build.audioOptions = {fixed::kAudioOptionsKept, true};
  }
  BuildFormats(*list.Child("formats", true), build);
  BuildCodecs(*list.Child("video_codecs", true), CodecKind::kVideo, build.videoCodecs,
              build.videoOptions);
  BuildCodecs(*list.Child("audio_codecs", true), CodecKind::kAudio, build.audioCodecs,
              build.audioOptions);
}

void Catalogue::NameFileFault(CoXMLNode& list) const {
  if (fileFault_.empty()) return;
  const XMLNodePtr file = list.Child("unavailable", true)->AppendChild("file");
  file->SetAttribute("path", ListPathToRead(Setting(kListPath)));
  file->SetValue(fileFault_);
}

XMLNodePtr Catalogue::Build() {
  const XMLNodePtr list = own_->Child(kListNode, true);
  if (list->ChildCount() == 0) LoadList(*list);
  const bool update = Setting(kListUpdate);
  if (list->ChildCount() == 0 || update) Rebuild(*list);
  if (update) SaveList(*list);
  GetPruner().Run(*list);
  NameFileFault(*list);
  return list;
}

XMLNodePtr Catalogue::FindInfo(std::string_view path) {
  const std::lock_guard guard(lock_);
  XMLNodePtr list = own_->FindChild(kListNode);
  if (!list || list->ChildCount() == 0) list = Build();
  return FindCodecInfo(*list, path.substr(std::min(path.size(), kListNode.size() + 2)));
}

Status Catalogue::Read(std::string* xml) {
  const std::lock_guard guard(lock_);
  XMLParse::XmlWriteOptions options;
  options.wellFormed = true;
  *xml = Build()->WriteXml(options);
  return S_OK;
}

}  // namespace xv
