#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "values/value_syntax.h"

// The attributes that this system reads, one constexpr key each, declared beside the reader:
//
//   inline constexpr Attribute<bool> kDropFrames{
//       "video.drop_frames", kSessionNode, false, {}, "Drops frames when the queue is full."};
//   const bool drop = node.Get(kDropFrames);
//
// Each room lists its keys in a table of rows. Documentation, completion, what FFmpeg is not given
// and the check of a session's attributes come from these tables.
namespace xv {

// Nodes of a session's attributes.
inline constexpr std::string_view kSessionNode = "";
inline constexpr std::string_view kVideoNode = "video";
inline constexpr std::string_view kAudioNode = "audio";
// Of a key that is read in the nodes of all tracks; its rows name one each (see InNode).
inline constexpr std::string_view kAnyTrack = "*";

enum class AttributeKind { kBool, kTriState, kInt, kDouble, kRate, kText, kPath, kWord, kNode };

// Types of keys beside bool, std::int32_t, double, std::string and enumerations; an enumeration is
// read as the index of a word.
struct TriState {};  // as int: 1 true, 0 false, -1 neither
struct Rate {};      // as std::int64_t: "5M"
struct FilePath {};  // as std::string: a file or URL
struct Word {};      // as int: the index of a word
struct SubNode {};   // no value: a child node with names that are free

// What the text of an attribute may be. A reader takes the value of any text; this tells which
// texts were meant for it.
struct Limits {
  double least = -std::numeric_limits<double>::infinity();  // of numbers
  double most = std::numeric_limits<double>::infinity();
  std::span<const char* const> words{};            // empty: any; a null ends them early
  bool (*valid)(std::string_view text) = nullptr;  // rules alone where it is set
  std::string_view expected{};                     // for a person; "": the other members tell
  int firstTrack = 0;                              // the least number of a key "name.N"
};

constexpr Limits AtLeast(double least) { return {.least = least}; }
constexpr Limits Between(double least, double most) { return {.least = least, .most = most}; }
constexpr Limits OneOf(std::span<const char* const> words) { return {.words = words}; }
constexpr Limits Expect(std::string_view expected, bool (*valid)(std::string_view) = nullptr) {
  return {.valid = valid, .expected = expected};
}
constexpr Limits FromTrack(int first) { return {.firstTrack = first}; }

using AttributeDefault = std::variant<std::monostate, bool, std::int32_t, double, std::string_view>;

// A key without its type, for tables.
struct AttributeRow {
  std::string_view name;  // "name.N": one attribute for each track number
  std::string_view node;  // the node that holds it, as a path
  AttributeKind kind = AttributeKind::kText;
  AttributeDefault fallback;  // of a word its index; monostate: none is documented
  Limits limits;
  std::string_view help;  // one sentence for a person
  bool toFFmpeg = false;  // FFmpeg is given it too, and judges the value
};

// The row of a key of all tracks for one node.
constexpr AttributeRow InNode(AttributeRow row, std::string_view node) {
  row.node = node;
  return row;
}

// How a type is read: Value is what readers get, Default how the key gives it. Read gives nothing
// where the text stands for the default.
template <class V>
struct IndexType {
  using Value = V;
  using Default = V;
  static constexpr AttributeKind kKind = AttributeKind::kWord;
  static constexpr std::int32_t Store(V value) { return static_cast<std::int32_t>(value); }
  static std::optional<V> Read(std::string_view text, const Limits& limits) {
    const int index = WordIndex(text, limits.words);
    return index < 0 ? std::nullopt : std::optional(static_cast<V>(index));
  }
};

template <class V, AttributeKind kind, auto read>
struct PlainType {
  using Value = V;
  using Default = std::conditional_t<std::is_same_v<V, std::string>, std::string_view, V>;
  static constexpr AttributeKind kKind = kind;
  static constexpr Default Store(Default value) { return value; }
  static std::optional<V> Read(std::string_view text, const Limits&) { return V(read(text)); }
};

template <class T>
struct AttributeType : IndexType<T> {
  static_assert(std::is_enum_v<T>, "no type of attributes");
};

constexpr std::string_view ReadText(std::string_view text) { return text; }

template <>
struct AttributeType<bool> : PlainType<bool, AttributeKind::kBool, ReadBool> {};
template <>
struct AttributeType<std::int32_t> : PlainType<std::int32_t, AttributeKind::kInt, ReadInt> {};
template <>
struct AttributeType<double> : PlainType<double, AttributeKind::kDouble, ReadDouble> {};
template <>
struct AttributeType<std::string> : PlainType<std::string, AttributeKind::kText, ReadText> {};
template <>
struct AttributeType<FilePath> : PlainType<std::string, AttributeKind::kPath, ReadText> {};
template <>
struct AttributeType<Rate> : PlainType<std::int64_t, AttributeKind::kRate, ReadRate> {
  using Default = std::string_view;  // text, as a person writes it
  static constexpr std::string_view Store(std::string_view value) { return value; }
};
template <>
struct AttributeType<TriState> {
  using Value = int;
  using Default = int;
  static constexpr AttributeKind kKind = AttributeKind::kTriState;
  static constexpr std::int32_t Store(int value) { return value; }
  static std::optional<int> Read(std::string_view text, const Limits&) {
    const int state = ReadTriState(text);
    return state < 0 ? std::nullopt : std::optional(state);
  }
};
template <>
struct AttributeType<Word> : IndexType<int> {};
template <>
struct AttributeType<SubNode> {
  using Value = bool;
  using Default = bool;
  static constexpr AttributeKind kKind = AttributeKind::kNode;
  static constexpr bool Store(bool value) { return value; }
};

// A key. `fallback` is what an absent attribute reads as: where it is nullopt, zero or no text.
template <class T>
struct Attribute : AttributeRow {
  using Type = AttributeType<T>;

  constexpr Attribute(std::string_view keyName, std::string_view holder,
                      std::optional<typename Type::Default> value, Limits bounds,
                      std::string_view sentence, bool alsoFFmpeg = false)
      : AttributeRow{keyName, holder, Type::kKind, Stored(value), bounds, sentence, alsoFFmpeg} {}

  auto Default() const -> typename Type::Value {
    using Held = decltype(Type::Store(std::declval<typename Type::Default>()));
    const Held* held = std::get_if<Held>(&fallback);
    if constexpr (std::is_same_v<T, Rate>) {
      return held == nullptr ? 0 : ReadRate(*held);
    } else {
      return held == nullptr ? typename Type::Value{} : typename Type::Value(*held);
    }
  }

 private:
  static constexpr AttributeDefault Stored(std::optional<typename Type::Default> value) {
    return value ? AttributeDefault(Type::Store(*value)) : AttributeDefault();
  }
};

// The name of a key "name.N" for one track.
std::string TrackName(const AttributeRow& row, int track);
// The path of a row from the session's node: "video::size".
std::string PathOf(const AttributeRow& row);
// The row of an attribute `name`, in any case; null for an unknown one. All rows are of one node.
const AttributeRow* FindRow(std::span<const AttributeRow> rows, std::string_view name);
// Whether `text` is a value that the row's reader was made for. A node has no value.
bool IsValidValue(const AttributeRow& row, std::string_view text);
// What the values are, for a person: "0 and more", "sequence, picture", "size such as 1280x720".
std::string ExpectedValues(const AttributeRow& row);
// "bool", "int", ..., "node".
std::string_view KindName(AttributeKind kind);
// The default as text; "" when none is documented.
std::string DefaultText(const AttributeRow& row);

}  // namespace xv
