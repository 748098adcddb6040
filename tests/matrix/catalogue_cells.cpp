#include "matrix/catalogue_cells.h"

#include <algorithm>

#include "lists/selection.h"
#include "xvrecord/catalogue_view.h"
#include "xvwriter/host.hpp"

namespace xv::test {
namespace {

using XMLParse::XMLNodePtr;

// One names no container, the other is a stream, whose receiver tests stand with the clients.
bool IsWalked(const XMLParse::CoXMLNode& format) {
  return !format.Text("id").empty() && format.Text("id") != "mpeg_nablet_udp";
}

std::vector<XMLNodePtr> CodecsOf(const XMLParse::CoXMLNode& format, const char* kind) {
  std::vector<XMLNodePtr> out;
  const XMLNodePtr codecs = format.FindChild(kind);
  if (!codecs) return out;
  for (const XMLNodePtr& codec : codecs->Children()) {
    // Encoded packets come from the host, not from an encoder.
    if (codec->Name() == "codec" && codec->Text("id") != "packets") out.push_back(codec);
  }
  return out;
}

// The first codec with a name, or nothing.
XMLNodePtr FirstNamed(const std::vector<XMLNodePtr>& codecs) {
  const auto found = std::find_if(codecs.begin(), codecs.end(),
                                  [](const XMLNodePtr& one) { return !one->Text("id").empty(); });
  return found == codecs.end() ? nullptr : *found;
}

void Add(std::vector<Cell>& cells, const XMLNodePtr& format, const XMLNodePtr& video,
         const XMLNodePtr& audio) {
  if (Writes(video) || Writes(audio)) cells.push_back({format, video, audio});
}

}  // namespace

const XMLParse::CoXMLNode& ServedList() {
  static const XMLNodePtr list = xvrecord::ParseList(host::Writer().Get("supported_list"));
  return *list;
}

std::vector<std::string> WalkedFormats() {
  std::vector<std::string> names;
  for (const XMLNodePtr& format : ServedList().FindChild("formats")->Children()) {
    if (IsWalked(*format)) names.push_back(format->Text("name"));
  }
  return names;
}

ListedFormat FormatNamed(const std::string& name) {
  const XMLNodePtr node = xv::FindListedFormat(ServedList(), name);
  return {node, CodecsOf(*node, "video"), CodecsOf(*node, "audio")};
}

std::vector<Cell> CrossOf(const ListedFormat& format) {
  std::vector<Cell> cells;
  const XMLNodePtr video = FirstNamed(format.videos);
  const XMLNodePtr audio = FirstNamed(format.audios);
  for (const XMLNodePtr& one : OrNothing(format.videos)) Add(cells, format.node, one, audio);
  for (const XMLNodePtr& one : format.audios) {
    if (one != audio) Add(cells, format.node, video, one);
  }
  return cells;
}

std::vector<XMLNodePtr> OrNothing(const std::vector<XMLNodePtr>& codecs) {
  return codecs.empty() ? std::vector<XMLNodePtr>{nullptr} : codecs;
}

std::string NameOf(const XMLNodePtr& codec) { return codec ? codec->Text("name") : std::string(); }
std::string IdOf(const XMLNodePtr& codec) { return codec ? codec->Text("id") : std::string(); }

std::string FileNameOf(const XMLNodePtr& format, const XMLNodePtr& video) {
  const std::string extensions = format->Text("extensions");
  if (IdOf(format) != "image2") return "out." + extensions.substr(0, extensions.find(','));
  return "out%03d." + (IdOf(video) == "mjpeg" ? "jpg" : IdOf(video));
}

bool Writes(const XMLNodePtr& codec) {
  return codec && codec->Text("id") != "null" && codec->Text("id") != "wav_file";
}

}  // namespace xv::test
