#include "catalogue/catalogue.h"

#include "catalogue/builtin_list.h"
#include "catalogue/fixed_lists.h"
#include "catalogue/list_builder.h"
#include "catalogue/list_file.h"
#include "props/value_syntax.h"

namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

std::string Catalogue::Setting(const char* name, const char* defaultValue) const {
  if (std::optional<std::string> value = own_->FindText(name)) return *value;
  return own_->Text(std::string("m_config::") + name, defaultValue);
}

bool Catalogue::Flag(const char* name) const { return ReadBool(Setting(name, "false")); }

Pruner& Catalogue::GetPruner() {
  if (!pruner_) pruner_ = std::make_unique<Pruner>(probe_ ? probe_() : HardwareReport());
  return *pruner_;
}

void Catalogue::LoadList(CoXMLNode& list) {
  const std::string path = ListPath(Setting("config.path", "formats_n_codecs_user.xml"));
  const Status status = LoadListFile(path, Flag("config.unicode"), list);
  fileIsNoList_ = status.Failed();
  if (status.NothingDone()) {
    const XMLNodePtr read = CoXMLNode::Create({});
    (void)read->ReadXml(BuiltinList());
    list.TakeContent(*read);
  }
  GetPruner().Forget();
}

void Catalogue::SaveList(const CoXMLNode& list) const {
  // A file that was no list is the user's, whatever it is. A folder that may not be written, or a
  // full disk, is no fault of the list's.
  if (fileIsNoList_) return;
  const std::string path = ListPath(Setting("config.path", "formats_n_codecs_user.xml"));
  (void)SaveListFile(path, Flag("config.unicode"), list);
}

void Catalogue::Rebuild(CoXMLNode& list) {
  namespace fixed = fixed_lists;
  list.ClearChildren();
  GetPruner().Forget();
  const NameList formats(fixed::kFormats);
  const NameList video(fixed::kVideoCodecs);
  const NameList audio(fixed::kAudioCodecs);
  FormatBuild build;
  const bool full = Flag("config.full");
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
  if (list->ChildCount() == 0 || Flag("config.update")) Rebuild(*list);
  GetPruner().Run(*list);
  return list;
}

Status Catalogue::Read(std::string* xml) {
  const std::lock_guard guard(lock_);
  *xml = Build()->WriteXml();
  return S_OK;
}

XMLNodePtr Catalogue::Tree() {
  const std::lock_guard guard(lock_);
  return Build()->DeepCopy();
}

}  // namespace xv
