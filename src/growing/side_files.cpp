#include "growing/side_files.h"

#include "platform/paths.h"
#include "platform/whole_file.h"

namespace xv {
namespace {

// One that was created and never written to; nothing is lost with it.
bool IsEmpty(const std::string& path) {
  File file;
  std::int64_t bytes = -1;
  return file.OpenRead(path).Ok() && file.Size(&bytes).Ok() && bytes == 0;
}

void RemovePlainFile(const std::string& path) {
  if (IsPlainFile(path)) (void)RemoveFile(path);
}

}  // namespace

std::string HeaderPath(const std::string& target) { return AppendBeforeExtension(target, ".hdr"); }

void RemoveLeftSideFiles(const std::string& target) {
  const std::string index = IndexPath(target), note = RecoveryPath(target);
  const std::string_view name = FileNamePart(target);
  IndexReader records;
  const bool indexed =
      IsPlainFile(index) && records.Open(index).Ok() && records.firstName() == name;
  // The header file first: the index is what tells that it is ours.
  if (indexed && records.hasHeaderFile()) RemovePlainFile(HeaderPath(target));
  if (indexed || (IsPlainFile(index) && IsEmpty(index))) (void)RemoveFile(index);
  RecoveryReader told;
  const bool noted = IsPlainFile(note) && told.Open(note).Ok() && told.target() == name;
  if (noted || (IsPlainFile(note) && IsEmpty(note))) (void)RemoveFile(note);
}

}  // namespace xv
