#include "settings/class_registry.h"

#include "base/text.h"
#include "platform/folders.h"
#include "platform/module.h"
#include "platform/paths.h"
#include "platform/whole_file.h"
#include "settings/settings_store.h"

namespace xv {
namespace {

std::string ClassFile(const std::string& folder, std::string_view classId) {
  return folder + "/" + ToLower(classId) + ".toml";
}

std::string LineOf(const char* key, const std::string& value) {
  return std::string(key) + " = " + QuotedSetting(value) + "\n";
}

std::optional<RegisteredClass> ReadClassFile(const std::string& folder, std::string_view classId) {
  SettingsTable table;
  if (SettingsStore(ClassFile(folder, classId)).Read(&table) != Status(S_OK)) return std::nullopt;
  RegisteredClass one;
  for (const auto& [key, value] : table.values) {
    if (EqualsNoCase(key, "class_id")) one.classId = value;
    if (EqualsNoCase(key, "program_id")) one.programId = value;
    if (EqualsNoCase(key, "module")) one.module = value;
  }
  if (one.module.empty() || !EqualsNoCase(one.classId, classId)) return std::nullopt;
  if (one.module.front() != '/') one.module = AbsolutePath(folder) + "/" + one.module;
  return one;
}

}  // namespace

std::string UserClassFolder() {
  const std::string settings = SettingsPath();
  if (settings.empty()) return {};
  return std::string(FolderOf(AbsolutePath(settings))) + "/classes";
}

std::vector<std::string> ClassFolders() {
  std::vector<std::string> folders;
  if (const std::string user = UserClassFolder(); !user.empty()) folders.push_back(user);
  // The library stands in lib of its prefix, or in a folder of the architecture below that.
  std::string prefix(FolderOf(ModulePath()));
  for (int up = 0; up < 2 && !prefix.empty(); ++up) {
    prefix = FolderOf(prefix);
    folders.push_back((prefix == "/" ? "" : prefix) + "/share/xvwriter/classes");
  }
  return folders;
}

Status WriteClassFile(const std::string& folder, const RegisteredClass& one) {
  if (folder.empty() || one.classId.empty() || one.module.empty()) return E_INVALIDARG;
  RETURN_IF_FAILED(CreateFolders(AbsolutePath(folder)));
  const std::string text = LineOf("class_id", one.classId) + LineOf("program_id", one.programId) +
                           LineOf("module", one.module);
  return ReplaceWholeFile(ClassFile(folder, one.classId), text.data(), text.size(),
                          LinkPolicy::kFollow);
}

Status RemoveClassFile(const std::string& folder, std::string_view classId) {
  const Status removed = RemoveFile(ClassFile(folder, classId));
  return removed == Status(XV_E_FILE_NOT_FOUND) ? Status(XV_E_NOT_FOUND) : removed;
}

std::optional<RegisteredClass> FindRegisteredClass(const std::vector<std::string>& folders,
                                                   std::string_view classId) {
  for (const std::string& folder : folders) {
    if (auto found = ReadClassFile(folder, classId)) return found;
  }
  return std::nullopt;
}

}  // namespace xv
