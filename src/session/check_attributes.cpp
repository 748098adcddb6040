#include "session/check_attributes.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "base/secrets.h"
#include "base/text.h"
#include "catalogue/listed_options.h"
#include "codec/ffmpeg.h"
#include "codec/ffmpeg_words.h"
#include "codec/option_dictionary.h"
#include "codec/stream_attributes.h"
#include "props/nearest_name.h"
#include "session/session_attributes.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace xv {
namespace {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

constexpr std::size_t kLongestName = 80;
constexpr std::size_t kLongestValue = 60;
constexpr int kDeepestNode = 8;

// On one line, and cut between characters.
std::string Printable(std::string_view text, std::size_t most) {
  std::string out(text.substr(0, most));
  if (text.size() > most) {
    std::size_t end = most;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    out.resize(end);
    out += "...";
  }
  std::replace_if(
      out.begin(), out.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  return out;
}

// "path=value (expected ...)".
std::string BadValueText(std::string_view path, std::string_view value, std::string_view why) {
  if (IsSecretName(path.substr(path.rfind(':') + 1))) {
    return fmt::format("{}=*** (refused)", Printable(path, kLongestName));
  }
  return fmt::format("{}={} ({})", Printable(path, kLongestName), Printable(value, kLongestValue),
                     why);
}

// One of FFmpeg's muxers or encoders to try values on: a context that is never opened.
class Trial {
 public:
  Trial() = default;
  explicit Trial(const AVCodec* codec)
      : codec_(codec == nullptr ? nullptr : avcodec_alloc_context3(codec)) {}
  explicit Trial(const AVOutputFormat* format) {
    AVFormatContext* made = nullptr;
    if (format == nullptr) return;
    (void)avformat_alloc_output_context2(&made, format, nullptr, nullptr);
    format_.reset(made);
  }

  void* object() const {
    return codec_ ? static_cast<void*>(codec_.get()) : static_cast<void*>(format_.get());
  }
  bool Knows(const std::string& name) const {
    return object() != nullptr && IsOptionOfFFmpeg(name) &&
           av_opt_find(object(), name.c_str(), nullptr, 0, AV_OPT_SEARCH_CHILDREN) != nullptr;
  }
  // FFmpeg's words for what is wrong with a value; "" when nothing is.
  std::string Refusal(const std::string& name, const std::string& value) const {
    if (!Knows(name)) return {};
    const FFmpegWords quiet;
    const int result = av_opt_set(object(), name.c_str(), value.c_str(), AV_OPT_SEARCH_CHILDREN);
    return result < 0 ? DescribeAvError(result) : std::string();
  }
  void AddNames(const std::string& prefix, std::vector<std::string>* names) const {
    AddNamesOf(object(), prefix, names);
    void* child = nullptr;
    while (object() != nullptr && (child = av_opt_child_next(object(), child)) != nullptr) {
      AddNamesOf(child, prefix, names);
    }
  }

 private:
  static void AddNamesOf(void* object, const std::string& prefix, std::vector<std::string>* names) {
    const AVOption* option = nullptr;
    while (object != nullptr && (option = av_opt_next(object, option)) != nullptr) {
      const bool writes = (option->flags & AV_OPT_FLAG_ENCODING_PARAM) != 0;
      if (writes && option->type != AV_OPT_TYPE_CONST) names->push_back(prefix + option->name);
    }
  }

  AvPtr<AVCodecContext> codec_;
  AvPtr<AVFormatContext> format_;
};

// A node of attributes that somebody reads.
struct Scope {
  std::string path;  // "" or "video"
  std::span<const AttributeRow> rows;
  const AVClass* kind = nullptr;  // of all of FFmpeg's objects that the node may be for
  Trial trial;
  std::optional<NameSet> left;
  std::map<std::string, std::string> refusals{};  // why an encoder left some of them
  NameSet
      listed{};  // where nothing was at hand: what the catalogue declares, a vendor's options too
  std::span<const AttributeRow> vendorRows{};  // of a vendor's encoder, ahead of `rows`

  const AttributeRow* RowOf(std::string_view name) const {
    const AttributeRow* row = FindRow(vendorRows, name);
    return row != nullptr ? row : FindRow(rows, name);
  }
  std::string Prefix() const { return path.empty() ? path : path + "::"; }
  // Where FFmpeg had nothing to take it, anything of the kind may have been meant.
  bool Takes(const std::string& name) const {
    const bool ofFFmpeg = IsOptionOfFFmpeg(name);
    if (left) return ofFFmpeg && !left->contains(name);
    if (listed.contains(ToLower(name))) return true;
    if (!ofFFmpeg) return false;
    const AVClass* const fake = kind;
    return av_opt_find(const_cast<AVClass**>(&fake), name.c_str(), nullptr, 0,
                       AV_OPT_SEARCH_CHILDREN | AV_OPT_SEARCH_FAKE_OBJ) != nullptr;
  }
};

std::string OverlayName(int track) { return fmt::format("{}.{}", kAudioNode, track); }

// "audio.N" for N of 1 and above.
bool IsOverlay(std::string_view name) {
  static constexpr AttributeRow kOverlay =
      Attribute<SubNode>{"audio.N", kSessionNode, {}, FromTrack(1), {}};
  return FindRow({&kOverlay, 1}, name) != nullptr;
}

class AttributeCheck {
 public:
  AttributeCheck(const CoXMLNode& attributes, const AttributeUse& use, SessionStats& stats)
      : root_(attributes), use_(use), stats_(stats) {
    scopes_.push_back({"", SessionAttributes(), avformat_get_class(), Trial(use.main.format),
                       use.main.left, use.main.refusals});
    AddTracks(kVideoNode, AVMEDIA_TYPE_VIDEO, 0, VideoAttributes());
    AddTracks(kAudioNode, AVMEDIA_TYPE_AUDIO, 0, AudioAttributes());
    scopes_.push_back({std::string(kSecondNode), SecondOutputAttributes(), avformat_get_class(),
                       Trial(use.second.format), use.second.left, use.second.refusals});
    for (const XMLNodePtr& child : root_.Children()) {
      const std::string name = child->Name();
      const auto number = static_cast<int>(ReadInt(name.substr(name.rfind('.') + 1)));
      if (IsOverlay(name)) AddTracks(name, AVMEDIA_TYPE_AUDIO, number, AudioAttributes());
    }
  }

  void Run() {
    CheckNode(root_, scopes_.front());
    for (const XMLNodePtr& child : root_.Children()) {
      const Scope* scope = ScopeOf(child->Name());
      if (scope == nullptr || (use_.secondFollows && scope->path == kSecondNode)) continue;
      CheckNode(*child, *scope);
    }
  }

  void RunSecond() {
    if (const XMLNodePtr node = root_.FindChild(kSecondNode))
      CheckNode(*node, *ScopeOf(kSecondNode));
  }

 private:
  // What an encoder left stands in the overlay of its track, or else in the node of all tracks.
  void AddTracks(std::string_view name, AVMediaType type, int number,
                 std::span<const AttributeRow> rows) {
    Scope scope{std::string(name), rows, avcodec_get_class(), {}, {}};
    for (const AttributeUse::Track& track : use_.tracks) {
      if (track.type != type || (number > 0 && track.number != number)) continue;
      if (scope.trial.object() == nullptr) scope.trial = Trial(track.codec);
      if (!track.vendorRows.empty()) scope.vendorRows = track.vendorRows;
      if (track.codec == nullptr && track.left.empty() && track.vendorRows.empty()) continue;
      if (!scope.left) scope.left.emplace();
      const XMLNodePtr overlay = root_.FindChild(OverlayName(track.number));
      for (const std::string& option : track.left) {
        if (number > 0 || !overlay || !overlay->Has(option)) scope.left->insert(option);
      }
      scope.refusals.insert(track.refusals.begin(), track.refusals.end());
    }
    const XMLNodePtr node = root_.FindChild(name);
    if (!scope.left && node && node->AttributeCount() > 0) {
      scope.listed = ListedCodecOptions(type == AVMEDIA_TYPE_VIDEO ? kVideoNode : kAudioNode);
    }
    scopes_.push_back(std::move(scope));
  }

  const Scope* ScopeOf(std::string_view name) const {
    for (const Scope& scope : scopes_) {
      if (!scope.path.empty() && EqualsNoCase(scope.path, name)) return &scope;
    }
    return nullptr;
  }

  void CheckNode(const CoXMLNode& node, const Scope& scope) {
    for (const auto& [name, value] : node.Attributes()) CheckOne(scope, name, value);
    for (const XMLNodePtr& child : node.Children()) {
      const std::string name = child->Name();
      const AttributeRow* row = FindRow(scope.rows, name);
      const std::string path = scope.Prefix() + name;
      if (row != nullptr && row->kind == AttributeKind::kNode) {
        for (const XMLNodePtr& below : child->Children()) {
          ReportUnknown(*below, path + "::" + below->Name(), 0);
        }
      } else if (!scope.path.empty() || ScopeOf(name) == nullptr) {
        ReportUnknown(*child, path, 0);
      }
    }
  }

  void CheckOne(const Scope& scope, const std::string& name, const std::string& value) {
    const AttributeRow* row = scope.RowOf(name);
    if (row == nullptr && scope.path.empty()) row = FindRow(use_.componentRows, name);
    const std::string path = scope.Prefix() + name;
    const bool known = row != nullptr || scope.trial.Knows(name);
    if (row == nullptr ? !scope.Takes(name) : scope.left && scope.left->contains(name)) {
      stats_.AddUnusedOption(known ? Printable(path, kLongestName) : WithNearest(path));
    }
    if (row != nullptr && !IsJudgedByFFmpeg(*row) && !IsValidValue(*row, value)) {
      ReportInvalid(*row, path, value);
      return;
    }
    const bool ours = row != nullptr && !row->toFFmpeg;
    const std::string words = RefusalOf(scope, name, ours ? std::nullopt : std::optional(value));
    if (!words.empty()) stats_.AddBadValue(BadValueText(path, value, "refused: " + words));
  }

  // What is wrong with a value that FFmpeg gets as it is, else what the encoder said that was
  // opened without the attribute.
  static std::string RefusalOf(const Scope& scope, const std::string& name,
                               const std::optional<std::string>& value) {
    const std::string words = value ? scope.trial.Refusal(name, *value) : std::string();
    const auto told = scope.refusals.find(name);
    const bool left = scope.left && scope.left->contains(name) && told != scope.refusals.end();
    return words.empty() && left ? told->second : words;
  }

  static bool IsJudgedByFFmpeg(const AttributeRow& row) {
    return row.toFFmpeg && row.limits.valid == nullptr;
  }

  void ReportInvalid(const AttributeRow& row, const std::string& path, const std::string& value) {
    std::string expected = "expected " + ExpectedValues(row);
    std::vector<std::string> words;
    for (const char* word : row.limits.words) {
      if (word == nullptr) break;
      words.emplace_back(word);
    }
    expected += DidYouMean(value, words);
    stats_.AddBadValue(BadValueText(path, value, expected));
  }

  // A node that nobody reads: all that is in it.
  void ReportUnknown(const CoXMLNode& node, const std::string& path, int depth) {
    const auto attributes = node.Attributes();
    const auto children = node.Children();
    if (depth == kDeepestNode || (attributes.empty() && children.empty())) {
      stats_.AddUnusedOption(WithNearest(path));
      return;
    }
    for (const auto& [name, value] : attributes) {
      stats_.AddUnusedOption(WithNearest(path + "::" + name));
    }
    for (const XMLNodePtr& child : children) {
      ReportUnknown(*child, path + "::" + child->Name(), depth + 1);
    }
  }

  std::string WithNearest(const std::string& path) {
    const std::string shown = Printable(path, kLongestName);
    // Behind them only the count is told.
    if (++searched_ > SessionStats::kMostNotes) return shown;
    const std::string nearest = NearestName(path, KnownNames());
    return nearest.empty() ? shown : fmt::format("{} (did you mean {}?)", shown, nearest);
  }

  const std::vector<std::string>& KnownNames() {
    if (!known_.empty()) return known_;
    for (const Scope& scope : scopes_) {
      for (const auto rows : {scope.rows, scope.vendorRows}) {
        for (const AttributeRow& row : rows) known_.push_back(scope.Prefix().append(row.name));
      }
      for (const std::string& name : scope.listed) known_.push_back(scope.Prefix() + name);
      scope.trial.AddNames(scope.Prefix(), &known_);
    }
    return known_;
  }

  const CoXMLNode& root_;
  const AttributeUse& use_;
  SessionStats& stats_;
  std::vector<Scope> scopes_;  // the session's, then those of its nodes
  std::vector<std::string> known_;
  std::size_t searched_ = 0;
};

}  // namespace

void CheckAttributes(const CoXMLNode& attributes, const AttributeUse& use, SessionStats& stats) {
  AttributeCheck(attributes, use, stats).Run();
}

void CheckSecondOutput(const CoXMLNode& attributes, const AttributeUse& use, SessionStats& stats) {
  AttributeCheck(attributes, use, stats).RunSecond();
}

void ReportFaults(const XMLParse::TextFaults& faults, const CoXMLNode& attributes,
                  SessionStats& stats) {
  for (const std::string& path : faults.badPaths) {
    stats.AddUnusedOption(Printable(path, kLongestName));
  }
  if (faults.openQuote.empty()) return;
  stats.AddBadValue(BadValueText(faults.openQuote, attributes.Text(faults.openQuote),
                                 "the quotation mark is never closed"));
}

}  // namespace xv
