#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "catalogue/selection.h"
#include "props/node.h"
#include "support/host_frames.h"
#include "support/media_probe.h"
#include "xvrecord/catalogue_view.h"

extern "C" {
#include <libavutil/log.h>
}

// What the served list offers must record: each codec of each format, at a raster and rate that are
// legal for it, with its presets and its defaults.
namespace xv::test {
namespace {

using XMLParse::XMLNodePtr;

constexpr int kFrames = 5;

const XMLNodePtr& ServedList() {
  static const XMLNodePtr list = [] {
    av_log_set_level(AV_LOG_QUIET);
    return xvrecord::ParseList(host::Writer().Get("supported_list"));
  }();
  return list;
}

// A format that ends in a file of this machine and that FFmpeg's muxers write: the "mpeg_nablet"
// ones belong to a component of somebody else.
bool IsFileFormat(const XMLParse::CoXMLNode& format) {
  const std::string id = format.Text("id");
  return !id.empty() && id != "mpeg_nablet" && !format.Text("extensions").empty();
}

std::vector<std::string> FileFormats() {
  std::vector<std::string> names;
  for (const XMLNodePtr& format : ServedList()->FindChild("formats")->Children()) {
    if (IsFileFormat(*format)) names.push_back(format->Text("name"));
  }
  return names;
}

std::vector<XMLNodePtr> CodecsOf(const std::string& format, const char* kind) {
  std::vector<XMLNodePtr> out;
  for (const XMLNodePtr& one : ServedList()->FindChild("formats")->Children()) {
    const XMLNodePtr codecs = one->Text("name") == format ? one->FindChild(kind) : nullptr;
    if (!codecs) continue;
    for (const XMLNodePtr& codec : codecs->Children()) {
      if (codec->Name() == "codec" && codec->Text("id") != "packets") out.push_back(codec);
    }
  }
  return out;
}

bool IsNothing(const XMLNodePtr& codec) { return codec->Text("id") == "null"; }

std::string TargetOf(const TemporaryFolder& folder, const std::string& format,
                     const std::string& video) {
  std::string extension = xv::FindListedFormat(*ServedList(), format)->Text("extensions");
  extension = extension.substr(0, extension.find(','));
  if (extension != "dpx") return folder / ("out." + extension);
  const std::string still = video == "png" ? "png" : video == "mjpeg" ? "jpg" : "dpx";
  return folder / ("out%03d." + still);
}

// What the codec can take: its own size where it names one, else PAL pictures.
Feed FeedFor(const XMLParse::CoXMLNode& video) {
  Feed feed;
  std::string size = video.Text("size");
  if (size.empty() && video.Text("id") == "dnxhd") size = "1920x1080P";
  if (std::sscanf(size.c_str(), "%dx%d", &feed.width, &feed.height) == 2) {
    feed.interlace = size.back() == 'T' ? eXvI_TopFirst : eXvI_Progressive;
  }
  return feed;
}

struct Cell {
  std::string format;
  XMLNodePtr video;  // may be null: the format takes none
  XMLNodePtr audio;  // the same
};

std::string NameOf(const XMLNodePtr& codec) { return codec ? codec->Text("name") : std::string(); }
bool Writes(const XMLNodePtr& codec) { return codec && !IsNothing(codec); }

// Records a cell and reads it back; the sentence says what went wrong, "" nothing.
std::string Try(const Cell& cell) {
  TemporaryFolder folder;
  const XMLNodePtr none = XMLParse::CoXMLNode::Create("none");
  const XMLNodePtr video = cell.video ? cell.video : none;
  const std::string target = TargetOf(folder, cell.format, video->Text("id"));
  const std::string text =
      xvrecord::PresetText(*ServedList(), cell.format, NameOf(cell.video), NameOf(cell.audio));
  std::string noted;
  const HRESULT result = Record(target, text, FeedFor(*video), kFrames, &noted);
  if (Failed(result) || !noted.empty()) return host::Describe(result) + " " + noted;
  if (target.find('%') != std::string::npos) {
    const auto entries = std::filesystem::recursive_directory_iterator(folder.Path());
    const auto pictures = std::count_if(begin(entries), end(entries),
                                        [](const auto& entry) { return entry.is_regular_file(); });
    return pictures < kFrames ? "pictures are missing" : "";
  }
  const ProbedFile file = Probe(target);
  if (!file.opened) return "the file does not open";
  if (Writes(cell.video) && file.Count(AVMEDIA_TYPE_VIDEO) == 0) return "the file has no pictures";
  if (Writes(cell.audio) && file.Count(AVMEDIA_TYPE_AUDIO) == 0) return "the file has no sound";
  return {};
}

void ExpectRecords(const Cell& cell) {
  if (!Writes(cell.video) && !Writes(cell.audio)) return;
  const std::string trouble = Try(cell);
  EXPECT_EQ(trouble, "") << cell.format << ": " << NameOf(cell.video) << " + "
                         << NameOf(cell.audio);
}

class ServedFormat : public testing::TestWithParam<std::string> {};

TEST_P(ServedFormat, EachVideoCodecRecordsWithTheFirstSound) {
  const std::vector<XMLNodePtr> videos = CodecsOf(GetParam(), "video");
  const std::vector<XMLNodePtr> audios = CodecsOf(GetParam(), "audio");
  const auto named = std::find_if(audios.begin(), audios.end(),
                                  [](const XMLNodePtr& one) { return !one->Text("id").empty(); });
  const XMLNodePtr audio = named == audios.end() ? nullptr : *named;
  for (const XMLNodePtr& video : videos) ExpectRecords({GetParam(), video, audio});
  if (videos.empty()) ExpectRecords({GetParam(), nullptr, audio});
}

TEST_P(ServedFormat, DISABLED_EachPairOfCodecsRecords) {
  const std::vector<XMLNodePtr> audios = CodecsOf(GetParam(), "audio");
  const std::vector<XMLNodePtr> videos = CodecsOf(GetParam(), "video");
  for (const XMLNodePtr& audio : audios) {
    for (const XMLNodePtr& video : videos) ExpectRecords({GetParam(), video, audio});
    if (videos.empty()) ExpectRecords({GetParam(), nullptr, audio});
  }
}

std::string TestName(const testing::TestParamInfo<std::string>& info) {
  std::string name = std::to_string(info.index) + "_";
  for (const char c : info.param) {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0) name += c;
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Matrix, ServedFormat, testing::ValuesIn(FileFormats()), TestName);

}  // namespace
}  // namespace xv::test
