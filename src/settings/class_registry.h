#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

// Registered classes: one file per class, "<class id>.toml" in a folder `classes`, with the keys
// class_id, program_id and module. Class ids are text in the form
// "4c93300c-351a-422f-ae57-a8a5a9777c4c", in any case.
namespace xv {

struct RegisteredClass {
  std::string classId;
  std::string programId;
  std::string module;  // path of the library that makes the objects, absolute once it is read
};

// `classes` beside the settings file, where registration writes. Empty when there is no such place.
std::string UserClassFolder();

// Where classes are looked for, in this order: the user's folder, then share/xvwriter/classes of
// the prefix that this module is installed in.
std::vector<std::string> ClassFolders();

// Makes the folder where it is missing. What was registered under that id is replaced in one step.
Status WriteClassFile(const std::string& folder, const RegisteredClass& one);

// XV_E_NOT_FOUND when the class has no file there.
Status RemoveClassFile(const std::string& folder, std::string_view classId);

// The first of `folders` that holds the class. A file that cannot be read, that names another class
// or no module counts as none. A relative module starts at the file's folder.
std::optional<RegisteredClass> FindRegisteredClass(const std::vector<std::string>& folders,
                                                   std::string_view classId);

}  // namespace xv
