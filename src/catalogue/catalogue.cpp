#include "catalogue/catalogue.h"

#include "catalogue/builtin_list.h"
#include "catalogue/ffmpeg_rows.h"
#include "catalogue/fixed_lists.h"
#include "catalogue/list_builder.h"
#include "catalogue/list_file.h"

namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

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
  const std::string path = ListPath(Setting(kListPath));
  bool cut = false;
  const Status status = LoadListFile(path, Setting(kListUnicode), list, &cut);
  fileIsNoList_ = status.Failed() || cut;
  if (status.NothingDone()) {
    const XMLNodePtr read = CoXMLNode::Create({});
    (void)read->ReadXml(BuiltinList());
    ShowFFmpegsRows(*read);
    list.TakeContent(*read);
  }
  GetPruner().Forget();
}

void Catalogue::SaveList(const CoXMLNode& list) const {
  // A file that was no list, or a part of one, is the user's, whatever it is. A folder that may not
  // be written, or a full disk, is no fault of the list's.
  if (fileIsNoList_) return;
  const std::string path = ListPath(Setting(kListPath));
  (void)SaveListFile(path, Setting(kListUnicode), list);
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
  SaveList(list);
}

XMLNodePtr Catalogue::Build() {
  const XMLNodePtr list = own_->Child("supported_list", true);
  if (list->ChildCount() == 0) LoadList(*list);
  if (list->ChildCount() == 0 || Setting(kListUpdate)) Rebuild(*list);
  GetPruner().Run(*list);
  return list;
}

Status Catalogue::Read(std::string* xml) {
  const std::lock_guard guard(lock_);
  XMLParse::XmlWriteOptions options;
  options.wellFormed = true;
  *xml = Build()->WriteXml(options);
  return S_OK;
}

}  // namespace xv
