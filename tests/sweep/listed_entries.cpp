#include "sweep/listed_entries.h"

#include <cstdio>
#include <set>

#include "matrix/catalogue_cells.h"
#include "xvrecord/catalogue_view.h"

namespace xv::test {
namespace {

using XMLParse::XMLNodePtr;

constexpr char kNone[] = "null";

// Its own size where the preset or the codec asks for one, else small pictures.
Feed FeedFor(const XMLNodePtr& video) {
  Feed feed{.width = 160, .height = 128};
  std::string size = video ? video->Text("size") : std::string();
  if (size.empty() && IdOf(video) == "dnxhd") size = "1920x1080T";
  if (IdOf(video) == "dvvideo" || (IdOf(video) == "mpeg2video" && video->Has("minrate"))) {
    size = "720x576T";
  }
  if (std::sscanf(size.c_str(), "%dx%d", &feed.width, &feed.height) == 2 && size.back() == 'T') {
    feed.interlace = eXvI_TopFirst;
  }
  return feed;
}

// The codec of that id; without one the first that has an id and is not `kNone`.
XMLNodePtr Find(const std::vector<XMLNodePtr>& codecs, const std::string& id) {
  for (const XMLNodePtr& codec : codecs) {
    const std::string one = IdOf(codec);
    if (id.empty() ? !one.empty() && one != kNone : one == id) return codec;
  }
  return nullptr;
}

ListedEntry EntryOf(const ListedFormat& format, const XMLNodePtr& video, const XMLNodePtr& audio) {
  ListedEntry entry;
  entry.target = FileNameOf(format.node, video);
  entry.preset =
      xvrecord::PresetText(ServedList(), format.node->Text("name"), NameOf(video), NameOf(audio));
  const bool pal = IdOf(format.node) == "gxf" || IdOf(format.node) == "mxf_d10";
  entry.feed = pal ? Feed{.interlace = eXvI_TopFirst} : FeedFor(video);
  return entry;
}

// Without the other kind where the container allows it.
ListedEntry CodecEntry(const ListedFormat& format, bool isVideo, const XMLNodePtr& codec) {
  const std::vector<XMLNodePtr>& others = isVideo ? format.audios : format.videos;
  XMLNodePtr other = Find(others, kNone);
  if (!other) other = Find(others, "");
  ListedEntry entry = isVideo ? EntryOf(format, codec, other) : EntryOf(format, other, codec);
  const std::string kind = isVideo ? "video" : "audio";
  entry.name = kind + " " + IdOf(codec);
  entry.prefix = kind + "::";
  entry.rows = AttributesOfCodec(ServedList(), *codec, kind);
  return entry;
}

void AddCodecs(const ListedFormat& format, bool isVideo, std::set<std::string>& known,
               std::vector<ListedEntry>& entries) {
  for (const XMLNodePtr& codec : isVideo ? format.videos : format.audios) {
    const std::string id = IdOf(codec);
    if (id.empty() || !Writes(codec)) continue;
    if (known.insert(isVideo ? "v" + id : "a" + id).second) {
      entries.push_back(CodecEntry(format, isVideo, codec));
    }
  }
}

}  // namespace

std::vector<ListedEntry> ListedEntries() {
  std::vector<ListedEntry> entries;
  std::set<std::string> known;
  for (const std::string& name : WalkedFormats()) {
    const ListedFormat format = FormatNamed(name);
    if (!format.node->Text("protocol").empty()) continue;
    ListedEntry entry = EntryOf(format, Find(format.videos, ""), Find(format.audios, ""));
    entry.name = IdOf(format.node) + " " + name;
    entry.rows = AttributesOfFormat(*format.node);
    entries.push_back(entry);
    AddCodecs(format, true, known, entries);
    AddCodecs(format, false, known, entries);
  }
  return entries;
}

std::string Setting(const ListedEntry& entry, const std::string& name, const std::string& value) {
  return " " + entry.prefix + name + "='" + value + "'";
}

}  // namespace xv::test
