#pragma once

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xvwriter/host.hpp"

// Reading the list of what can be written: formats, their codecs, what each is preset to and which
// options it has. It is what a host's dialog shows and what its choice becomes. docs/list.md has
// the schema and the walk that these functions take.
//
// Everything here reads copies out of a writer's properties: any thread, also while frames flow. A
// path names an entry by its place ("formats::format[2]::video::codec[0]"); it stays valid as long
// as the list is not built anew, so hold a ServedList no longer than a dialog is open.
namespace xv::host {

// Attributes of a node of the list, in order.
using EntryAttributes = std::vector<std::pair<std::string, std::string>>;

// An entry and where it stands.
struct ListEntry {
  std::string path;
  EntryAttributes attributes;

  // The value of an attribute, its name in any case; "" when it has none of that name.
  [[nodiscard]] std::string Text(std::string_view name) const;
};

// An option that an entry has: a row of a dialog.
struct ListOption {
  std::string name;          // behind "video::" or "audio::" for a codec's option
  std::string type;          // bool, int, int64, double, string, option, option_fixed, flags
  std::string defaultValue;  // as text
  std::string values;        // the words it may have, ", " between them; "" for any
  std::string minimum;       // "" for no bound
  std::string maximum;
  std::string description;  // for a person
};

// Whether two names are the same: the case of ASCII letters does not count.
[[nodiscard]] inline bool SameText(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return lower(x) == lower(y); });
}

inline std::string ListEntry::Text(std::string_view name) const {
  for (const auto& [known, value] : attributes) {
    if (SameText(known, name)) return value;
  }
  return {};
}

// What describes an entry itself is no preset; every other attribute of it is one.
[[nodiscard]] inline bool IsPreset(std::string_view name) {
  constexpr std::string_view kDescribing[] = {"id",      "name",    "extensions", "protocol",
                                              "network", "inherit", "qs_version", "qs_impl"};
  return std::none_of(std::begin(kDescribing), std::end(kDescribing),
                      [&](std::string_view known) { return SameText(known, name); });
}

// The served list of a writer.
class ServedList {
 public:
  // Brings the list up to date, which takes some tenths of a second the first time: every entry is
  // tried on this machine.
  explicit ServedList(const Writer& writer) : props_(QueryAs<IXvProps>(writer.object())) {
    (void)writer.Get("supported_list");
  }

  // The attributes of the node of that path; nothing where there is no such node.
  [[nodiscard]] std::optional<EntryAttributes> At(const std::string& path) const {
    const std::u16string node = Wide("supported_list::" + path);
    std::int32_t count = 0;
    if (!props_ || Failed(props_->PropsGetCount(node.c_str(), &count))) return std::nullopt;
    EntryAttributes attributes;
    for (std::int32_t i = 0; i < count; ++i) {
      char16_t* name = nullptr;
      char16_t* value = nullptr;
      std::int32_t hasChildren = 0;
      (void)props_->PropsGetByIndex(node.c_str(), i, &name, &value, &hasChildren);
      std::string key = TakeString(name);
      attributes.emplace_back(std::move(key), TakeString(value));
    }
    return attributes;
  }

  // All nodes of that path, "formats::format" or "formats::format[0]::video::codec", in order.
  [[nodiscard]] std::vector<ListEntry> Entries(const std::string& nodes) const {
    std::vector<ListEntry> entries;
    while (true) {
      const std::string path = nodes + "[" + std::to_string(entries.size()) + "]";
      std::optional<EntryAttributes> attributes = At(path);
      if (!attributes) return entries;
      entries.push_back({path, std::move(*attributes)});
    }
  }

  // The options that the node of that path declares itself, in order. `inherit` (may be null) gets
  // whether the search for further options goes on above it.
  [[nodiscard]] std::vector<ListOption> Declared(const std::string& path,
                                                 bool* inherit = nullptr) const {
    if (inherit != nullptr) {
      const auto schema = At(path + "::attributes_info");
      *inherit = !schema || !SameText(ListEntry{path, *schema}.Text("inherit"), "false");
    }
    const std::u16string node = Wide("supported_list::" + path);
    std::vector<ListOption> options;
    std::int32_t count = 0;
    if (!props_ || Failed(props_->PropsInfoGetCount(node.c_str(), &count))) return options;
    for (std::int32_t i = 0; i < count; ++i) options.push_back(OptionAt(node, i));
    return options;
  }

 private:
  ListOption OptionAt(const std::u16string& node, std::int32_t index) const {
    ListOption option;
    char16_t* name = nullptr;
    char16_t* text = nullptr;
    std::int32_t hasChildren = 0;
    const std::u16string schema = node + u"::_info_";
    (void)props_->PropsGetByIndex(schema.c_str(), index, &name, &text, &hasChildren);
    option.name = TakeString(name);
    option.description = TakeString(text);
    char16_t* type = nullptr;
    char16_t* values = nullptr;
    const std::u16string path = node + u"::" + Wide(option.name);
    (void)props_->PropsInfoGet(path.c_str(), &type, &text, &values);
    option.type = TakeString(type);
    option.defaultValue = TakeString(text);
    option.values = TakeString(values);
    Ptr<IXvNode> info;
    if (Failed(props_->PropsInfoGetByIndex(node.c_str(), index, &name, info.Receive()))) {
      return option;
    }
    XvStringFree(name);
    option.minimum = TextOf(info, u"min");
    option.maximum = TextOf(info, u"max");
    return option;
  }
  static std::string TextOf(const Ptr<IXvNode>& info, const char16_t* name) {
    char16_t* value = nullptr;
    (void)info->GetString(name, &value);
    return TakeString(value);
  }

  Ptr<IXvProps> props_;
};

// The first of the entries at `nodes` whose id or display name is `wanted`, in any case; the first
// of all for "". Nothing when there is none.
template <class List>
[[nodiscard]] std::optional<ListEntry> FindEntry(const List& list, const std::string& nodes,
                                                 std::string_view wanted) {
  for (int i = 0;; ++i) {
    ListEntry entry{nodes + "[" + std::to_string(i) + "]", {}};
    std::optional<EntryAttributes> attributes = list.At(entry.path);
    if (!attributes) return std::nullopt;
    entry.attributes = std::move(*attributes);
    const bool found =
        std::any_of(entry.attributes.begin(), entry.attributes.end(), [&](const auto& attribute) {
          return (SameText(attribute.first, "id") || SameText(attribute.first, "name")) &&
                 SameText(attribute.second, wanted);
        });
    if (found || wanted.empty()) return entry;
  }
}

// The options of a codec as an entry of a format has it (`kind` is "video" or "audio"): those it
// declares itself, those of its entry in the general list ("video_codecs"), those of all codecs of
// its kind. One that was declared nearer hides the others of its name; the walk ends where a level
// says inherit='false'.
[[nodiscard]] inline std::vector<ListOption> CodecOptions(const ServedList& list,
                                                          const ListEntry& codec,
                                                          std::string_view kind) {
  const std::string general = std::string(kind) + "_codecs";
  std::string id = codec.Text("inherit");
  if (id.empty()) id = codec.Text("id");
  const auto parent = id.empty() ? std::nullopt : FindEntry(list, general + "::codec", id);
  std::vector<ListOption> options;
  bool inherit = true;
  for (const std::string& path : {codec.path, parent ? parent->path : std::string(), general}) {
    if (path.empty() || !inherit) continue;
    for (ListOption& option : list.Declared(path, &inherit)) {
      const bool hidden = std::any_of(options.begin(), options.end(), [&](const ListOption& one) {
        return SameText(one.name, option.name);
      });
      if (!hidden) options.push_back(std::move(option));
    }
  }
  return options;
}

// The presets of a choice, out of any `List` whose `At` answers as ServedList's.
template <class List>
class PresetReader {
 public:
  explicit PresetReader(const List& list) : list_(list) {}

  // See PresetText.
  [[nodiscard]] std::optional<std::string> Read(std::string_view format, std::string_view codec,
                                                std::string_view audioCodec) const {
    const auto chosen = FindEntry(list_, "formats::format", format);
    if (!chosen) return std::nullopt;
    std::string text;
    if (!format.empty() && !Append(chosen->attributes, "format", "", &text)) return std::nullopt;
    for (const auto& [kind, name] : {std::pair("video", codec), std::pair("audio", audioCodec)}) {
      if (name.empty()) continue;
      const auto entry = FindEntry(list_, chosen->path + "::" + kind + "::codec", name);
      if (!entry) return std::nullopt;
      if (!Append(entry->attributes, "codec", std::string(kind) + "::", &text)) return std::nullopt;
    }
    return text;
  }

 private:
  // The entry's id under `idName` and its presets, each behind `prefix`. False for a value that no
  // attribute text can hold.
  static bool Append(const EntryAttributes& entry, const std::string& idName,
                     const std::string& prefix, std::string* text) {
    for (const auto& [name, value] : entry) {
      const bool isId = SameText(name, "id") && !value.empty();
      if (!isId && !IsPreset(name)) continue;
      const auto written = Attribute(prefix + (isId ? idName : name), value);
      if (!written) return false;
      text->append(" ").append(*written);
    }
    return true;
  }

  const List& list_;
};

// The attributes that a choice of the served list stands for, as Writer::Start takes them: the ids
// and the presets of a format, a video codec and an audio codec of that format. Each is an id or a
// display name, in any case; "" chooses none, and without a format the codecs are those of the
// list's first entry, which is for all. Nothing when the list has no such entry, or one with a
// value that no attribute text can hold (Quote). Attributes behind this text win over it:
//
//   const auto presets = xv::host::PresetText(writer, "MOV DNxHD", "DNxHD 145 Mbit/s 1080i");
//   if (presets) result = writer.Start("clip.mov", *presets + " audio::codec=pcm_s24le");
[[nodiscard]] inline std::optional<std::string> PresetText(const Writer& writer,
                                                           std::string_view format,
                                                           std::string_view codec = {},
                                                           std::string_view audioCodec = {}) {
  const ServedList list(writer);
  return PresetReader(list).Read(format, codec, audioCodec);
}

}  // namespace xv::host
