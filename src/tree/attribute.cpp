#include "tree/attribute.h"

#include <fmt/format.h>

#include "base/text.h"

namespace xv {
namespace {

constexpr std::string_view kTrackMark = ".N";

bool IsTracks(const AttributeRow& row) { return row.name.ends_with(kTrackMark); }

// "name." ahead of the number.
std::string_view StemOf(const AttributeRow& row) { return row.name.substr(0, row.name.size() - 1); }

bool NamesTrack(const AttributeRow& row, std::string_view name) {
  const std::string_view stem = StemOf(row);
  if (name.size() <= stem.size() || !EqualsNoCase(name.substr(0, stem.size()), stem)) return false;
  const std::string_view digits = name.substr(stem.size());
  return digits.find_first_not_of("0123456789") == std::string_view::npos &&
         ReadInt64(digits) >= row.limits.firstTrack;
}

bool IsIn(std::span<const char* const> words, std::string_view text) {
  return WordIndex(text, words) >= 0;
}

bool IsBool(std::string_view text) {
  static constexpr const char* kWords[] = {"true", "false", "yes",  "no", "on",
                                           "off",  "y",     "only", "n"};
  const std::size_t length = ParseInteger(text).length;
  return IsIn(kWords, text) || (length > 0 && length == text.size());
}

bool IsTriState(std::string_view text) { return ReadTriState(text) >= 0 || text == "auto"; }

bool LiesWithin(const Limits& limits, double value) {
  return value >= limits.least && value <= limits.most;
}

bool IsInt(std::string_view text, const Limits& limits) {
  const ParsedInteger number = ParseInteger(text);
  return number.length > 0 && number.length == text.size() &&
         LiesWithin(limits, static_cast<double>(number.value));
}

bool IsDouble(std::string_view text, const Limits& limits) {
  const std::size_t length = ParseNumber(text).length;
  const bool whole = length == text.size() || text.substr(length) == "%";
  return length > 0 && whole && LiesWithin(limits, ReadDouble(text));
}

bool IsRate(std::string_view text, const Limits& limits) {
  const std::size_t length = ParseInteger(text).length;
  const std::string_view rest = text.substr(length);
  const bool unit = rest.empty() || (rest.size() == 1 && FindNoCase("kmgt", rest) < 4);
  return length > 0 && unit && LiesWithin(limits, static_cast<double>(ReadRate(text)));
}

std::string JoinWords(std::span<const char* const> words) {
  std::string out;
  for (const char* word : words) {
    if (word == nullptr) break;
    if (*word != '\0') out.append(out.empty() ? "" : ", ").append(word);
  }
  return out;
}

// Numbers without the ".0" of whole ones.
std::string NumberText(double value) { return fmt::format("{:.15g}", value); }

std::string RangeOf(const Limits& limits) {
  const Limits open;
  if (limits.least == open.least) {
    return limits.most == open.most ? std::string() : "at most " + NumberText(limits.most);
  }
  return NumberText(limits.least) +
         (limits.most == open.most ? " and more" : " to " + NumberText(limits.most));
}

std::string_view AnyOf(AttributeKind kind) {
  switch (kind) {
    case AttributeKind::kBool:
      return "true or false";
    case AttributeKind::kTriState:
      return "true, false or auto";
    case AttributeKind::kInt:
      return "a whole number";
    case AttributeKind::kDouble:
      return "a number";
    case AttributeKind::kRate:
      return "a whole number, K, M, G or T behind it";
    case AttributeKind::kNode:
      return "a node with values of any name";
    default:
      return {};
  }
}

}  // namespace

std::string TrackName(const AttributeRow& row, int track) {
  return fmt::format("{}{}", StemOf(row), track);
}

std::string PathOf(const AttributeRow& row) {
  return row.node.empty() ? std::string(row.name) : fmt::format("{}::{}", row.node, row.name);
}

const AttributeRow* FindRow(std::span<const AttributeRow> rows, std::string_view name) {
  for (const AttributeRow& row : rows) {
    if (IsTracks(row) ? NamesTrack(row, name) : EqualsNoCase(row.name, name)) return &row;
  }
  return nullptr;
}

bool IsValidValue(const AttributeRow& row, std::string_view text) {
  const Limits& limits = row.limits;
  if (limits.valid != nullptr) return limits.valid(text);
  if (!limits.words.empty()) return text.empty() || IsIn(limits.words, text);
  switch (row.kind) {
    case AttributeKind::kBool:
      return IsBool(text);
    case AttributeKind::kTriState:
      return IsTriState(text);
    case AttributeKind::kInt:
      return IsInt(text, limits);
    case AttributeKind::kDouble:
      return IsDouble(text, limits);
    case AttributeKind::kRate:
      return IsRate(text, limits);
    case AttributeKind::kNode:
      return false;
    default:
      return true;
  }
}

std::string ExpectedValues(const AttributeRow& row) {
  if (!row.limits.expected.empty()) return std::string(row.limits.expected);
  if (!row.limits.words.empty()) return JoinWords(row.limits.words);
  const std::string range = RangeOf(row.limits);
  return range.empty() ? std::string(AnyOf(row.kind)) : range;
}

std::string_view KindName(AttributeKind kind) {
  constexpr std::string_view kNames[] = {"bool", "tristate", "int",  "double", "rate",
                                         "text", "path",     "word", "node"};
  return kNames[static_cast<std::size_t>(kind)];
}

std::string DefaultText(const AttributeRow& row) {
  if (const bool* flag = std::get_if<bool>(&row.fallback)) return *flag ? "true" : "false";
  if (const double* number = std::get_if<double>(&row.fallback)) return NumberText(*number);
  if (const auto* text = std::get_if<std::string_view>(&row.fallback)) return std::string(*text);
  const auto* index = std::get_if<std::int32_t>(&row.fallback);
  if (index == nullptr) return {};
  if (row.kind == AttributeKind::kTriState) {
    return *index < 0 ? "auto" : *index > 0 ? "true" : "false";
  }
  if (row.kind != AttributeKind::kWord) return std::to_string(*index);
  return *index < 0 ? std::string() : row.limits.words[static_cast<std::size_t>(*index)];
}

}  // namespace xv
