#include "xvrecord/stream_choice.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <span>
#include <string_view>

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

// An entry of --map: "0:1", "1", "v", "a", "a:2". The number counts within the streams of that
// kind, and within all without one.
struct MapEntry {
  std::optional<AVMediaType> kind;
  std::optional<std::size_t> number;
};

bool Take(std::string_view& text, std::string_view start) {
  if (text.substr(0, start.size()) != start) return false;
  text.remove_prefix(start.size());
  return true;
}

std::optional<std::size_t> NumberOf(std::string_view text) {
  std::size_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && behind == end ? std::optional(number) : std::nullopt;
}

std::optional<MapEntry> ReadEntry(std::string_view text) {
  MapEntry entry;
  Take(text, "0:");
  if (Take(text, "v")) entry.kind = AVMEDIA_TYPE_VIDEO;
  if (!entry.kind && Take(text, "a")) entry.kind = AVMEDIA_TYPE_AUDIO;
  if (entry.kind && text.empty()) return entry;
  if (entry.kind && !Take(text, ":")) return std::nullopt;
  entry.number = NumberOf(text);
  return entry.number ? std::optional(entry) : std::nullopt;
}

bool CanBeTaken(const AVFormatContext& input, std::size_t stream) {
  if (stream >= input.nb_streams) return false;
  const AVMediaType kind = input.streams[stream]->codecpar->codec_type;
  return kind == AVMEDIA_TYPE_VIDEO || kind == AVMEDIA_TYPE_AUDIO;
}

// Empty for an entry that cannot be read or names nothing.
std::vector<int> Mapped(const AVFormatContext& input, const std::string& text) {
  const std::optional<MapEntry> entry = ReadEntry(text);
  if (!entry) return {};
  if (!entry->kind) {
    if (!CanBeTaken(input, *entry->number)) return {};
    return {static_cast<int>(*entry->number)};
  }
  const std::vector<int> found = StreamsOf(input, *entry->kind);
  if (!entry->number) {
    const bool onlyFirst = entry->kind == AVMEDIA_TYPE_VIDEO && !found.empty();
    return onlyFirst ? std::vector<int>{found[0]} : found;
  }
  return *entry->number < found.size() ? std::vector<int>{found[*entry->number]}
                                       : std::vector<int>{};
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
