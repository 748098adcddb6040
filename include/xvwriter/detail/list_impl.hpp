#pragma once

#include <algorithm>
#include <iterator>

#include "xvwriter/list.hpp"

// What list.hpp declares. For list.hpp, not for hosts.
namespace xv::host {

inline bool SameText(std::string_view a, std::string_view b) {
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

inline bool IsPreset(std::string_view name) {
  constexpr std::string_view kDescribing[] = {"id",      "name",    "extensions", "protocol",
                                              "network", "inherit", "qs_version", "qs_impl"};
  return std::none_of(std::begin(kDescribing), std::end(kDescribing),
                      [&](std::string_view known) { return SameText(known, name); });
}

inline ServedList::ServedList(const Writer& writer) : props_(QueryAs<IXvProps>(writer.object())) {
  (void)writer.Get("supported_list");
}

inline std::optional<EntryAttributes> ServedList::At(const std::string& path) const {
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

inline std::vector<ListEntry> ServedList::Entries(const std::string& nodes) const {
  std::vector<ListEntry> entries;
  while (true) {
    const std::string path = nodes + "[" + std::to_string(entries.size()) + "]";
    std::optional<EntryAttributes> attributes = At(path);
    if (!attributes) return entries;
    entries.push_back({path, std::move(*attributes)});
  }
}

inline std::vector<ListOption> ServedList::Declared(const std::string& path, bool* inherit) const {
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

inline ListOption ServedList::OptionAt(const std::u16string& node, std::int32_t index) const {
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

inline std::string ServedList::TextOf(const Ptr<IXvNode>& info, const char16_t* name) {
  char16_t* value = nullptr;
  (void)info->GetString(name, &value);
  return TakeString(value);
}

template <class List>
std::optional<ListEntry> FindEntry(const List& list, const std::string& nodes,
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

inline std::vector<ListOption> CodecOptions(const ServedList& list, const ListEntry& codec,
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

template <class List>
std::optional<std::string> PresetReader<List>::Read(std::string_view format, std::string_view codec,
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

template <class List>
bool PresetReader<List>::Append(const EntryAttributes& entry, const std::string& idName,
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

inline std::optional<std::string> PresetText(const Writer& writer, std::string_view format,
                                             std::string_view codec, std::string_view audioCodec) {
  const ServedList list(writer);
  return PresetReader(list).Read(format, codec, audioCodec);
}

}  // namespace xv::host
