#include "platform/paths.h"

#include <limits.h>
#include <unistd.h>

#include "base/text.h"

namespace xv {
namespace {

// Index behind the last separator.
std::size_t NameStart(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? 0 : slash + 1;
}

}  // namespace

bool IsUrl(std::string_view text, std::string_view scheme) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos || text.substr(colon + 1, 2) != "//") return false;
  return scheme.empty() || EqualsNoCase(text.substr(0, colon), scheme);
}

std::string_view FileNamePart(std::string_view path) { return path.substr(NameStart(path)); }

std::string_view FolderOf(std::string_view path) {
  const std::size_t name = NameStart(path);
  if (name == 0) return {};
  return path.substr(0, name == 1 ? 1 : name - 1);
}

std::size_t ExtensionPoint(std::string_view path) {
  const std::size_t name = NameStart(path);
  const std::size_t point = path.rfind('.');
  return point == std::string_view::npos || point < name ? path.size() : point;
}

std::string AppendBeforeExtension(std::string_view path, std::string_view text) {
  std::string out(path);
  out.insert(ExtensionPoint(path), text);
  return out;
}

std::string AbsolutePath(std::string_view path) {
  if (!path.empty() && path.front() == '/') return std::string(path);
  char folder[PATH_MAX];
  if (getcwd(folder, sizeof(folder)) == nullptr) return std::string(path);
  std::string out(folder);
  if (out.back() != '/') out += '/';
  out += path;
  return out;
}

}  // namespace xv
