#pragma once

#include <string>
#include <string_view>

// Paths as text: "/" is the only separator, "10:30:00.mov" is a file's name. URLs are told apart by
// IsUrl first; the other helpers know nothing of them.
namespace xv {

// The first ":" is followed by "//". With a scheme the part ahead of the ":" must be that scheme,
// in any case.
bool IsUrl(std::string_view text, std::string_view scheme = {});

// Behind the last "/"; the whole text without one.
std::string_view FileNamePart(std::string_view path);
// Ahead of the last "/": "" without one, "/" for a file in the root.
std::string_view FolderOf(std::string_view path);
// Index of the last "." behind the last "/", or the length.
std::size_t ExtensionPoint(std::string_view path);
// "a.mov" with ".hdr" gives "a.hdr.mov".
std::string AppendBeforeExtension(std::string_view path, std::string_view text);
// A relative path put behind the process's current folder; nothing else is resolved.
std::string AbsolutePath(std::string_view path);

}  // namespace xv
