#include "settings/settings_store.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <stdexcept>

// The parser asserts what a text such as "[[[" makes false, and without assertions it takes that
// for granted. So the assertions stay in every build, and a false one is a text that is no TOML.
namespace {
constexpr void RequireToml(bool holds) {
  if (!holds) throw std::invalid_argument("not a TOML document");
}
}  // namespace
#undef NDEBUG
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wterminate"
#define TOML_ASSERT(expr) RequireToml(static_cast<bool>(expr))
#include <toml++/toml.h>
#pragma GCC diagnostic pop

#include "base/text.h"
#include "platform/folders.h"
#include "platform/paths.h"
#include "platform/whole_file.h"

namespace xv {
namespace {

constexpr std::int64_t kMaxFile = 1 << 20;

const char* Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::string TextOf(const toml::node& node) {
  if (const auto* text = node.as_string()) return text->get();
  if (const auto* number = node.as_integer()) return std::to_string(number->get());
  if (const auto* flag = node.as_boolean()) return flag->get() ? "true" : "false";
  std::ostringstream out;
  if (const auto* array = node.as_array()) {
    for (const toml::node& member : *array) out << (out.tellp() > 0 ? ", " : "") << TextOf(member);
  } else {
    node.visit([&](const auto& value) {
      if constexpr (toml::is_value<decltype(value)>) out << value;
    });
  }
  return out.str();
}

// The parser bounds the depth of tables.
SettingsTable Convert(std::string name, const toml::table& table) {
  SettingsTable out;
  out.name = std::move(name);
  for (const auto& [key, node] : table) {
    std::string text(key.str());
    if (const toml::table* inner = node.as_table()) {
      out.tables.push_back(Convert(std::move(text), *inner));
    } else {
      out.values.emplace_back(std::move(text), TextOf(node));
    }
  }
  return out;
}

std::optional<toml::table> Parse(const std::string& text) {
  try {
    return toml::parse(text);
  } catch (const toml::parse_error&) {
    return std::nullopt;
  } catch (const std::invalid_argument&) {
    return std::nullopt;
  }
}

bool IsIntegerText(const std::string& text) {
  if (text.empty() || text.size() > 18) return false;
  const long long value = std::strtoll(text.c_str(), nullptr, 0);
  if (value < 0) return false;
  return (value <= INT32_MAX && text == fmt::format("{}", value)) ||
         text == fmt::format("0x{:016X}", value);
}

std::string LineOf(const std::pair<std::string, std::string>& value) {
  const std::string& text = value.second;
  return QuotedSetting(value.first) + " = " + (IsIntegerText(text) ? text : QuotedSetting(text)) +
         "\n";
}

// Keys behind a table's head would belong to that table, so they go ahead of the first one. The
// start of the file is the one place that is surely ahead of it.
std::string WithLines(const std::string& text, const std::string& lines, bool hasTables) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  const bool marked = std::string_view(text).substr(0, 3) == kByteOrderMark;
  if (hasTables) return std::string(text).insert(marked ? kByteOrderMark.size() : 0, lines);
  const bool open = !text.empty() && text.back() != '\n';
  return text + (open ? "\n" : "") + lines;
}

}  // namespace

std::string SettingsPath() {
  const std::string given = Environment("XVWRITER_SETTINGS");
  if (!given.empty()) return given;
  constexpr const char* kFile = "/velarion/tessaline/xvwriter/xvwriterffm.toml";
  const std::string folder = Environment("XDG_CONFIG_HOME");
  if (!folder.empty() && folder.front() == '/') return folder + kFile;
  const std::string home = Environment("HOME");
  return home.empty() ? std::string() : home + "/.config" + kFile;
}

std::string_view SettingsTable::Text(std::string_view key) const {
  for (const auto& [own, value] : values) {
    if (EqualsNoCase(own, key)) return value;
  }
  return {};
}

SettingsTable ReadSettingsTable(std::string_view name) {
  SettingsTable all;
  (void)SettingsStore().Read(&all);
  for (SettingsTable& table : all.tables) {
    if (EqualsNoCase(table.name, name)) return std::move(table);
  }
  return {};
}

std::string QuotedSetting(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (byte < 0x20 || byte == 0x7F) {
      out += fmt::format("\\u{:04X}", byte);
    } else {
      out += c;
    }
  }
  return out + '"';
}

Status SettingsStore::Read(SettingsTable* out) {
  *out = {};
  keys_.clear();
  text_.clear();
  hasTables_ = writable_ = false;
  if (path_.empty()) return S_FALSE;
  std::vector<std::uint8_t> bytes;
  const Status status = ReadWholeFile(path_, &bytes, kMaxFile);
  if (status == Status(XV_E_FILE_NOT_FOUND)) {
    writable_ = true;
    return S_FALSE;
  }
  RETURN_IF_FAILED(status);
  text_.assign(bytes.begin(), bytes.end());
  const std::optional<toml::table> parsed = Parse(text_);
  if (!parsed) return E_INVALIDARG;
  *out = Convert({}, *parsed);
  for (const auto& value : out->values) keys_.push_back(value.first);
  for (const SettingsTable& table : out->tables) keys_.push_back(table.name);
  hasTables_ = std::any_of(parsed->begin(), parsed->end(), [](const auto& member) {
    return member.second.is_table() || member.second.is_array_of_tables();
  });
  writable_ = MayWriteFile(path_);
  return S_OK;
}

Status SettingsStore::AddMissing(const std::vector<std::pair<std::string, std::string>>& values) {
  if (!writable_) return S_FALSE;
  std::string lines;
  for (const auto& value : values) {
    const bool known = std::any_of(keys_.begin(), keys_.end(), [&](const std::string& key) {
      return EqualsNoCase(key, value.first);
    });
    if (known) continue;
    keys_.push_back(value.first);
    lines += LineOf(value);
  }
  if (lines.empty()) return S_FALSE;
  const std::string text = WithLines(text_, lines, hasTables_);
  if (!Parse(text)) return S_FALSE;
  const std::string_view folder = FolderOf(path_);
  if (folder.size() > 1) RETURN_IF_FAILED(CreateFolders(AbsolutePath(folder)));
  RETURN_IF_FAILED(ReplaceWholeFile(path_, text.data(), text.size(), LinkPolicy::kFollow));
  text_ = text;
  return S_OK;
}

}  // namespace xv
