#include "catalogue/list_file.h"

#include <cstring>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "platform/module.h"
#include "platform/paths.h"
#include "platform/whole_file.h"
#include "settings/settings_store.h"

namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

namespace {

constexpr std::int64_t kMaxFile = 16 << 20;
constexpr std::string_view kUtf16Mark = "\xFF\xFE";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

std::u16string Units(std::string_view bytes) {
  std::u16string units(bytes.size() / 2, u'\0');
  std::memcpy(units.data(), bytes.data(), units.size() * 2);
  return units;
}

std::string Decoded(std::string_view bytes, bool wide) {
  if (bytes.substr(0, 2) == kUtf16Mark) return Utf8FromUtf16(Units(bytes.substr(2)));
  if (bytes.substr(0, 3) == kUtf8Mark) return std::string(bytes.substr(3));
  // A list begins with "<" or a blank, so a wide one has a zero behind it. Without that the file is
  // from before the setting was changed.
  const bool isWide = wide && bytes.size() > 1 && bytes[1] == '\0';
  return isWide ? Utf8FromUtf16(Units(bytes)) : std::string(bytes);
}

std::string Beside(const std::string& file, const std::string& name) {
  return std::string(FolderOf(file)) + "/" + name;
}

// The reader forgives a text that ends early, so the end of the root tells.
bool EndsItsRoot(std::string_view text) {
  constexpr auto kNone = std::string_view::npos;
  return FindNoCase(text, "</supported_list") != kNone ||
         FindNoCase(text, "<supported_list/>") != kNone;
}

}  // namespace

std::string ListPath(const std::string& configured) {
  if (configured.empty() || configured.front() == '/') return configured;
  const std::string settings = SettingsPath();
  return settings.empty() ? std::string() : Beside(settings, configured);
}

std::string ListPathToRead(const std::string& configured) {
  std::string path = ListPath(configured);
  if (path == configured || FileExists(path)) return path;
  std::string shared = Beside(ModulePath(), configured);
  return FileExists(shared) ? shared : path;
}

Status LoadListFile(const std::string& path, bool wide, CoXMLNode& list, bool* cut) {
  *cut = false;
  if (path.empty() || !FileExists(path)) return S_FALSE;
  list.Clear();
  std::vector<std::uint8_t> bytes;
  RETURN_IF_FAILED(ReadWholeFile(path, &bytes, kMaxFile));
  const std::string_view raw(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const XMLNodePtr read = CoXMLNode::Create({});
  const std::string text = Decoded(raw, wide);
  RETURN_IF_FAILED(read->ReadXml(text));
  if (!EqualsNoCase(read->Name(), "supported_list")) return E_INVALIDARG;
  list.TakeContent(*read);
  *cut = !EndsItsRoot(text);
  return S_OK;
}

Status SaveListFile(const std::string& path, bool wide, const CoXMLNode& list) {
  if (path.empty()) return S_FALSE;
  const XMLNodePtr copy = list.DeepCopy();
  (void)copy->RemoveChildNode("unavailable");
  const std::string text = copy->WriteXml({0, 0, true});
  if (!wide) return ReplaceWholeFile(path, text.data(), text.size(), LinkPolicy::kFollow);
  std::string bytes(kUtf16Mark);
  const std::u16string units = Utf16FromUtf8(text);
  bytes.append(reinterpret_cast<const char*>(units.data()), units.size() * 2);
  return ReplaceWholeFile(path, bytes.data(), bytes.size(), LinkPolicy::kFollow);
}

}  // namespace xv
