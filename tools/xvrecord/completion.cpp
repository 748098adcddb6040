#include "xvrecord/completion.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "base/text.h"
#include "lists/attribute_tables.h"
#include "lists/selection.h"
#include "xvrecord/input.h"

namespace xvrecord {

using xv::XMLParse::CoXMLNode;
using xv::XMLParse::MergeMode;
using xv::XMLParse::XMLNodePtr;

namespace {

using Words = std::vector<std::string>;

bool IsOneOf(const std::string& word, std::initializer_list<const char*> names) {
  return std::any_of(names.begin(), names.end(), [&](const char* name) { return word == name; });
}

// What the command line has chosen so far.
struct Choice {
  std::string format;
  std::string codec[2];  // video, audio
};
constexpr const char* kKinds[] = {"video", "audio"};

Choice ChoiceOf(const Words& words) {
  const XMLNodePtr attributes = CoXMLNode::Create("attributes");
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0 && IsOneOf(words[i - 1], {"-a", "--attributes"})) {
      attributes->MergeText(words[i], MergeMode::kReplace);
    }
  }
  Choice choice{attributes->Text("format"),
                {attributes->Text("video::codec"), attributes->Text("audio::codec")}};
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (words[i - 1] == "--format") choice.format = words[i];
    if (words[i - 1] == "--codec") choice.codec[0] = words[i];
    if (words[i - 1] == "--audio-codec") choice.codec[1] = words[i];
  }
  return choice;
}

// Attributes and the words that each may be.
using Attributes = std::map<std::string, std::string>;

void AddOwn(Attributes* all) {
  for (const xv::AttributeTable& table : xv::SessionTables()) {
    for (const xv::AttributeRow& row : table.rows) {
      const bool flag = row.kind == xv::AttributeKind::kBool;
      const bool listed = !row.limits.words.empty();
      all->try_emplace(PathOf(row), flag     ? "true, false"
                                    : listed ? ExpectedValues(row)
                                             : std::string());
    }
  }
}

void AddListed(const std::vector<xv::ListedAttribute>& listed, const std::string& prefix,
               Attributes* all) {
  for (const xv::ListedAttribute& one : listed) {
    const bool flag = one.type == "bool" && one.values.empty();
    all->try_emplace(prefix + one.name, flag ? "true, false" : one.values);
  }
}

void AddCodec(const CoXMLNode& list, const std::string& kind, const std::string& id,
              Attributes* all) {
  const XMLNodePtr codecs = list.FindChild(kind + "_codecs");
  if (!codecs) return;
  for (const XMLNodePtr& codec : codecs->Children()) {
    if (codec->Name() != "codec" || (!id.empty() && !xv::EqualsNoCase(codec->Text("id"), id))) {
      continue;
    }
    AddListed(xv::AttributesOfCodec(list, *codec, kind), kind + "::", all);
  }
}

// Everything that the choice takes; what is not chosen yet may be any.
Attributes AttributesFor(const CoXMLNode& list, const Choice& choice) {
  Attributes all;
  for (const XMLNodePtr& format : list.FindChild("formats")->Children()) {
    const bool wanted = choice.format.empty() ||
                        xv::EqualsNoCase(format->Text("id"), choice.format) ||
                        xv::EqualsNoCase(format->Text("name"), choice.format);
    if (wanted) AddListed(xv::AttributesOfFormat(*format), "", &all);
  }
  for (int kind = 0; kind < 2; ++kind) AddCodec(list, kKinds[kind], choice.codec[kind], &all);
  AddOwn(&all);
  return all;
}

Words FormatIds(const CoXMLNode& list) {
  Words ids;
  for (const XMLNodePtr& format : list.FindChild("formats")->Children()) {
    const std::string id = format->Text("id");
    if (!id.empty() && std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(id);
  }
  return ids;
}

// By id; by display name where an id stands for several.
Words CodecIds(const CoXMLNode& list, const std::string& format, const std::string& kind) {
  Words ids;
  const XMLNodePtr found =
      format.empty() ? list.FindChild("formats::format") : xv::FindListedFormat(list, format);
  const XMLNodePtr codecs = found ? found->FindChild(kind) : nullptr;
  if (!codecs) return ids;
  std::map<std::string, int> entries;
  for (const XMLNodePtr& codec : codecs->Children()) ++entries[codec->Text("id")];
  for (const XMLNodePtr& codec : codecs->Children()) {
    const std::string id = codec->Text("id");
    if (!id.empty()) ids.push_back(entries[id] > 1 ? codec->Text("name") : id);
  }
  return ids;
}

// One with a blank would have to be quoted within the text.
Words ValuesOf(const std::string& joined) {
  Words values;
  std::istringstream stream(joined);
  for (std::string value; std::getline(stream >> std::ws, value, ',');) {
    if (value.find(' ') == std::string::npos) values.push_back(value);
  }
  return values;
}

// The last attribute of the text: its name, or its value behind "=".
Words AttributeWords(const CoXMLNode& list, const Words& words) {
  const std::string& text = words.back();
  const std::string ahead = text.substr(0, text.find_last_of(" \t") + 1);
  const std::string last = text.substr(ahead.size());
  const std::string name = last.substr(0, last.find('='));
  Words found;
  if (name.size() != last.size() && IsOneOf(name, {"format", "video::codec", "audio::codec"})) {
    const Choice choice = ChoiceOf(words);
    const Words ids =
        name == "format" ? FormatIds(list) : CodecIds(list, choice.format, name.substr(0, 5));
    for (const std::string& id : ids) found.push_back(ahead + name + "=" + id);
    return found;
  }
  const Attributes all = AttributesFor(list, ChoiceOf(words));
  if (name.size() == last.size()) {
    for (const auto& [attribute, values] : all) found.push_back(ahead + attribute + "=");
    return found;
  }
  const auto entry = all.find(name);
  if (entry == all.end()) return found;
  for (const std::string& value : ValuesOf(entry->second)) {
    found.push_back(ahead + name + "=" + value);
  }
  return found;
}

Words WordsFor(const CoXMLNode& list, std::span<const std::string> options, const Words& words) {
  const std::string before = words.size() > 1 ? words[words.size() - 2] : std::string();
  const std::string earlier = words.size() > 2 ? words[words.size() - 3] : std::string();
  if (IsOneOf(before, {"-a", "--attributes"})) return AttributeWords(list, words);
  if (IsOneOf(before, {"--format", "--codecs", "--options"})) return FormatIds(list);
  const std::string format = ChoiceOf(words).format;
  if (before == "--codec") return CodecIds(list, format, "video");
  if (before == "--audio-codec") return CodecIds(list, format, "audio");
  if (earlier == "--options") {
    Words ids = CodecIds(list, before, "video");
    const Words audio = CodecIds(list, before, "audio");
    ids.insert(ids.end(), audio.begin(), audio.end());
    return ids;
  }
  if (before == "--input-format") return LayoutNames();
  if (before == "--log-level") return {"quiet", "error", "warning", "info", "verbose", "debug"};
  if (words.back().rfind("-", 0) == 0) return {options.begin(), options.end()};
  return {};
}

}  // namespace

std::vector<std::string> Complete(const CoXMLNode& list, std::span<const std::string> options,
                                  const std::vector<std::string>& words) {
  if (words.empty()) return {};
  Words found = WordsFor(list, options, words);
  std::erase_if(found, [&](const std::string& word) { return word.rfind(words.back(), 0) != 0; });
  return found;
}

}  // namespace xvrecord
