#include "xvrecord/stream_choice.h"

#include <algorithm>
#include <regex>
#include <span>

namespace xvrecord {
namespace {

std::vector<int> StreamsOf(const AVFormatContext& input, AVMediaType type) {
  std::vector<int> found;
  for (unsigned i = 0; i < input.nb_streams; ++i) {
    if (input.streams[i]->codecpar->codec_type == type) found.push_back(static_cast<int>(i));
  }
  return found;
}

int Best(const AVFormatContext& input, AVMediaType type, int related) {
  return av_find_best_stream(const_cast<AVFormatContext*>(&input), type, -1, related, nullptr, 0);
}

bool InProgramOf(const AVFormatContext& input, int stream, int other) {
  auto* context = const_cast<AVFormatContext*>(&input);
  const AVProgram* program = av_find_program_from_stream(context, nullptr, other);
  if (program == nullptr) return true;
  const std::span<unsigned> all(program->stream_index, program->nb_stream_indexes);
  return std::count(all.begin(), all.end(), static_cast<unsigned>(stream)) > 0;
}

std::vector<int> ByThemselves(const AVFormatContext& input, bool oneTrack) {
  int video = Best(input, AVMEDIA_TYPE_VIDEO, -1);
  const bool isCover =
      video >= 0 && (input.streams[video]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
  if (isCover) video = -1;
  const int audio = Best(input, AVMEDIA_TYPE_AUDIO, video);
  std::vector<int> chosen;
  if (video >= 0) chosen.push_back(video);
  for (const int track : StreamsOf(input, AVMEDIA_TYPE_AUDIO)) {
    if (oneTrack ? track == audio : InProgramOf(input, track, video >= 0 ? video : audio)) {
      chosen.push_back(track);
    }
  }
  return chosen;
}

// Empty for an entry that cannot be read or names nothing.
std::vector<int> Mapped(const AVFormatContext& input, const std::string& entry) {
  static const std::regex kEntry("(?:0:)?(?:([va])(?::([0-9]{1,4}))?|([0-9]{1,4}))");
  std::smatch match;
  if (!std::regex_match(entry, match, kEntry)) return {};
  const bool byIndex = match[3].matched;
  const bool isVideo = match[1] == "v";
  std::vector<int> found = StreamsOf(input, isVideo ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO);
  if (byIndex) {
    const std::vector<int> pictures = StreamsOf(input, AVMEDIA_TYPE_VIDEO);
    found.insert(found.end(), pictures.begin(), pictures.end());
    const int index = std::stoi(match[3]);
    return std::count(found.begin(), found.end(), index) > 0 ? std::vector<int>{index}
                                                             : std::vector<int>{};
  }
  if (!match[2].matched) return isVideo && !found.empty() ? std::vector<int>{found[0]} : found;
  const auto number = static_cast<std::size_t>(std::stoi(match[2]));
  return number < found.size() ? std::vector<int>{found[number]} : std::vector<int>{};
}

}  // namespace

bool LeavesTracksOut(const AVFormatContext& input, const MediaOptions& options) {
  return options.map.empty() && options.oneTrack &&
         ByThemselves(input, true).size() < ByThemselves(input, false).size();
}

std::vector<int> ChooseStreams(const AVFormatContext& input, const MediaOptions& options) {
  if (options.map.empty()) return ByThemselves(input, options.oneTrack);
  std::vector<int> chosen;
  int pictures = 0;
  for (const std::string& entry : options.map) {
    const std::vector<int> named = Mapped(input, entry);
    if (named.empty()) throw UsageError("--map " + entry + " names no stream of the input.");
    for (const int index : named) {
      if (std::count(chosen.begin(), chosen.end(), index) > 0) {
        throw UsageError("--map names stream " + std::to_string(index) + " twice.");
      }
      pictures += input.streams[index]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO ? 1 : 0;
      chosen.push_back(index);
    }
  }
  if (pictures > 1) throw UsageError("--map takes one stream of pictures.");
  return chosen;
}

}  // namespace xvrecord
