#pragma once

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
  std::string minimum;       // "" for no bound; "145x49" of a size
  std::string maximum;
  std::string description;  // for a person
};

// Whether two names are the same: the case of ASCII letters does not count.
[[nodiscard]] bool SameText(std::string_view a, std::string_view b);

// What describes an entry itself is no preset; every other attribute of it is one.
[[nodiscard]] bool IsPreset(std::string_view name);

// The served list of a writer.
class ServedList {
 public:
  // Brings the list up to date; the first time that takes a moment, since every entry is looked for
  // on this machine. For an empty writer the list is empty.
  explicit ServedList(const Writer& writer);

  // The attributes of the node of that path; nothing where there is no such node.
  [[nodiscard]] std::optional<EntryAttributes> At(const std::string& path) const;

  // All nodes of that path, "formats::format" or "formats::format[0]::video::codec", in order.
  [[nodiscard]] std::vector<ListEntry> Entries(const std::string& nodes) const;

  // The options that the node of that path declares itself, in order. `inherit` (may be null) gets
  // whether the search for further options goes on above it.
  [[nodiscard]] std::vector<ListOption> Declared(const std::string& path,
                                                 bool* inherit = nullptr) const;

 private:
  ListOption OptionAt(const std::u16string& node, std::int32_t index) const;
  static std::string TextOf(const Ptr<IXvNode>& info, const char16_t* name);

  Ptr<IXvProps> props_;
};

// The first of the entries at `nodes` whose id or display name is `wanted`, in any case; the first
// of all for "". Nothing when no entry is.
template <class List>
[[nodiscard]] std::optional<ListEntry> FindEntry(const List& list, const std::string& nodes,
                                                 std::string_view wanted);

// The options of a codec as an entry of a format has it (`kind` is "video" or "audio"): those it
// declares itself, those of its entry in the general list ("video_codecs"), those of all codecs of
// its kind. One that was declared nearer hides the others of its name; the walk ends where a level
// says inherit='false'.
[[nodiscard]] std::vector<ListOption> CodecOptions(const ServedList& list, const ListEntry& codec,
                                                   std::string_view kind);

// The presets of a choice, out of any `List` whose `At` answers as ServedList's.
template <class List>
class PresetReader {
 public:
  explicit PresetReader(const List& list) : list_(list) {}

  // See PresetText.
  [[nodiscard]] std::optional<std::string> Read(std::string_view format, std::string_view codec,
                                                std::string_view audioCodec) const;

 private:
  // The entry's id under `idName` and its presets, each behind `prefix`. False for a value that no
  // attribute text can hold.
  static bool Append(const EntryAttributes& entry, const std::string& idName,
                     const std::string& prefix, std::string* text);

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
[[nodiscard]] std::optional<std::string> PresetText(const Writer& writer, std::string_view format,
                                                    std::string_view codec = {},
                                                    std::string_view audioCodec = {});

}  // namespace xv::host

#include "xvwriter/detail/list_impl.hpp"
