#include "xvrecord/targets.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <string_view>

#include "tree/node.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
}

namespace xvrecord {
namespace {

using xv::XMLParse::CoXMLNode;
using xv::XMLParse::MergeMode;

constexpr int kMostTracks = 32;
constexpr std::string_view kDigits = "0123456789";
// Names and second names.
constexpr std::pair<const char*, const char*> kWritten[] = {{"second_encoder", "capture_file"},
                                                            {"wav_path", "audio::wav_path"},
                                                            {"raw_video", nullptr},
                                                            {"raw_audio", nullptr},
                                                            {"scc_path", nullptr},
                                                            {"anc_path", nullptr}};

xv::XMLParse::XMLNodePtr ReadAttributes(const std::string& attributes) {
  auto node = CoXMLNode::Create("attributes");
  node->MergeText(attributes, MergeMode::kReplace);
  return node;
}

const AVOutputFormat* FormatOf(const std::string& output, const CoXMLNode& attributes) {
  const std::string format = attributes.Text("format");
  return av_guess_format(format.empty() ? nullptr : format.c_str(),
                         format.empty() ? output.c_str() : nullptr, nullptr);
}

// The path behind "file:", which FFmpeg's own names may have in front.
std::string PathOf(const std::string& target) {
  constexpr std::string_view kFile = "file:";
  return target.compare(0, kFile.size(), kFile) == 0 ? target.substr(kFile.size()) : target;
}

bool IsOneOf(const std::string& text, std::initializer_list<const char*> names) {
  return std::any_of(names.begin(), names.end(), [&](const char* name) { return text == name; });
}

bool StatusOf(const std::string& target, int descriptor, struct stat* status) {
  const bool standard = descriptor == STDIN_FILENO ? target == "-" : IsStandardOutput(target);
  return standard ? fstat(descriptor, status) == 0 : stat(PathOf(target).c_str(), status) == 0;
}

std::string Canonical(const std::string& target) {
  std::error_code error;
  const std::string path = std::filesystem::weakly_canonical(PathOf(target), error).string();
  return error ? target : path;
}

// How long a number's place ("%d", "%03d") at the start of `pattern` is; 0 without one.
std::size_t NumberPlace(std::string_view pattern) {
  if (pattern.empty() || pattern[0] != '%') return 0;
  const std::size_t end = pattern.find_first_not_of(kDigits, 1);
  return end != pattern.npos && pattern[end] == 'd' ? end + 1 : 0;
}

// `pattern` numbers its files ("a%03d.png") and one of them may be `path`, or they are the same.
bool Numbers(std::string_view pattern, std::string_view path) {
  if (pattern.empty()) return path.empty();
  const std::size_t place = NumberPlace(pattern);
  if (place == 0) {
    return !path.empty() && pattern[0] == path[0] && Numbers(pattern.substr(1), path.substr(1));
  }
  const std::size_t most = std::min(path.find_first_not_of(kDigits), path.size());
  for (std::size_t digits = 1; digits <= most; ++digits) {
    if (Numbers(pattern.substr(place), path.substr(digits))) return true;
  }
  return false;
}

// By device and inode, through links of any kind.
bool IsInput(const std::string& input, const std::string& target) {
  struct stat source {};
  struct stat written {};
  if (StatusOf(input, STDIN_FILENO, &source) && StatusOf(target, STDOUT_FILENO, &written)) {
    return S_ISREG(source.st_mode) && source.st_dev == written.st_dev &&
           source.st_ino == written.st_ino;
  }
  const std::string pattern = Canonical(target);
  return pattern.find('%') != std::string::npos &&
         (pattern == Canonical(input) || Numbers(pattern, Canonical(input)));
}

bool IsFile(const std::string& target) {
  std::error_code error;
  return !IsStandardOutput(target) && std::filesystem::is_regular_file(PathOf(target), error);
}

// The line comes from a person, who may have typed ahead.
bool AskToOverwrite(const std::string& target) {
  std::cerr << target << " exists. Write over it? [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  return IsOneOf(answer, {"y", "Y", "yes", "Yes", "YES"});
}

std::string RefuseExisting(const std::string& input, const std::string& target, Existing existing) {
  if (existing == Existing::kOverwrite || !IsFile(target)) return {};
  if (existing == Existing::kAsk && input != "-" && isatty(STDIN_FILENO) == 1) {
    return AskToOverwrite(target) ? "" : target + " stays as it is.";
  }
  return target + " exists" + (existing == Existing::kKeep ? "." : "; -y writes over it.");
}

bool IsTwin(const std::vector<std::string>& targets, std::size_t index) {
  std::error_code error;
  if (std::filesystem::is_character_file(targets[index], error)) return false;  // /dev/null
  const auto end = targets.begin() + static_cast<std::ptrdiff_t>(index);
  return std::any_of(targets.begin(), end, [&](const std::string& earlier) {
    return Canonical(earlier) == Canonical(targets[index]);
  });
}

}  // namespace

bool IsStandardOutput(const std::string& target) {
  return IsOneOf(target, {"-", "pipe:", "pipe:1", "/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"});
}

std::string FillTime(const std::string& target, std::time_t time) {
  std::tm parts{};
  gmtime_r(&time, &parts);
  const std::pair<char, int> known[] = {{'Y', parts.tm_year + 1900}, {'m', parts.tm_mon + 1},
                                        {'d', parts.tm_mday},        {'H', parts.tm_hour},
                                        {'M', parts.tm_min},         {'S', parts.tm_sec}};
  std::string filled;
  for (std::size_t i = 0; i < target.size(); ++i) {
    const char letter = target[i] == '%' && i + 1 < target.size() ? target[i + 1] : '\0';
    const auto* part = std::find_if(std::begin(known), std::end(known),
                                    [&](const auto& one) { return one.first == letter; });
    const bool found = part != std::end(known);
    if (found) filled += (part->second < 10 ? "0" : "") + std::to_string(part->second);
    if (!found) filled += target[i];
    if (found || letter == '%') ++i;
  }
  return filled;
}

bool IsTerminal(const std::string& target) {
  return IsStandardOutput(target) && isatty(STDOUT_FILENO) == 1;
}

bool TakesYuv(const std::string& output, const std::string& attributes) {
  const auto node = ReadAttributes(attributes);
  const std::string name = node->Text("video::codec");
  const AVOutputFormat* format = FormatOf(output, *node);
  const AVCodec* encoder = name.empty() && format != nullptr
                               ? avcodec_find_encoder(format->video_codec)
                               : avcodec_find_encoder_by_name(name.c_str());
  if (encoder == nullptr) {
    const AVCodecDescriptor* known = avcodec_descriptor_get_by_name(name.c_str());
    if (known != nullptr) encoder = avcodec_find_encoder(known->id);
  }
  if (encoder == nullptr || encoder->pix_fmts == nullptr) return encoder != nullptr;
  for (const AVPixelFormat* one = encoder->pix_fmts; *one != AV_PIX_FMT_NONE; ++one) {
    const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(*one);
    if ((desc->flags & AV_PIX_FMT_FLAG_RGB) == 0 && desc->nb_components >= 3) return true;
  }
  return false;
}

bool TakesOneTrack(const std::string& output, const std::string& attributes) {
  const auto node = ReadAttributes(attributes);
  const AVOutputFormat* known = FormatOf(output, *node);
  const std::string format = known != nullptr ? known->name : node->Text("format");
  return !node->Bool("merge_tracks") &&
         IsOneOf(format, {"ac3", "adts", "aiff", "au", "caf", "dts", "eac3", "flac", "flv", "mp2",
                          "mp3", "rtp", "tta", "w64", "wav"});
}

std::vector<std::pair<std::string, std::string>> WrittenBy(const std::string& attributes) {
  const auto node = ReadAttributes(attributes);
  std::vector<std::pair<std::string, std::string>> written;
  const auto add = [&](const std::string& key) {
    const std::string target = node->Text(key);
    if (!target.empty()) written.emplace_back(key, target);
    return !target.empty();
  };
  for (const auto& [key, second] : kWritten) {
    if (!add(key) && second != nullptr) add(second);
  }
  for (int track = 1; track < kMostTracks; ++track) add("raw_audio." + std::to_string(track));
  return written;
}

std::vector<std::string> TargetsOf(const std::string& output, const std::string& attributes) {
  std::vector<std::string> targets = {output};
  for (const auto& [key, target] : WrittenBy(attributes)) targets.push_back(target);
  return targets;
}

std::string RefuseTargets(const std::string& input, const std::vector<std::string>& targets,
                          Existing existing) {
  for (std::size_t i = 0; i < targets.size(); ++i) {
    if (IsInput(input, targets[i])) return targets[i] + " is the input itself.";
    if (IsTwin(targets, i)) return targets[i] + " would be written twice at once.";
    const std::string refused = RefuseExisting(input, targets[i], existing);
    if (!refused.empty()) return refused;
  }
  return {};
}

}  // namespace xvrecord
