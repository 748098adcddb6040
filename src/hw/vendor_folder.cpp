#include "hw/vendor_folder.h"

#include <cstdlib>

#include "settings/settings_store.h"

namespace xv {
namespace {

Status OpenFirst(DynamicLibrary& library, const std::string& prefix,
                 std::initializer_list<const char*> names, std::string* words) {
  for (const char* name : names) {
    if (library.Open(prefix + name).Ok()) return S_OK;
    *words += (words->empty() ? "" : "; ") + library.Words();
  }
  return XV_E_VENDOR_LIBRARY;
}

Status OpenAnywhere(DynamicLibrary& library, std::initializer_list<const char*> names,
                    std::string* words) {
  const std::string folder = VendorFolder();
  if (!folder.empty() && folder.front() != '/') {
    *words = "the folder of vendors' libraries is not a full path: " + folder;
    return XV_E_VENDOR_LIBRARY;
  }
  if (!folder.empty() && OpenFirst(library, folder + "/", names, words).Ok()) return S_OK;
  return OpenFirst(library, {}, names, words);
}

}  // namespace

std::string VendorFolder() {
  const char* given = std::getenv("XVWRITER_VENDOR_FOLDER");
  if (given != nullptr && *given != '\0') return given;
  return std::string(ReadSettingsTable("hardware").Text("vendor_folder"));
}

Status OpenVendorLibrary(DynamicLibrary& library, std::initializer_list<const char*> names,
                         std::string* words) {
  library.Close();
  std::string attempts;
  const Status status = OpenAnywhere(library, names, &attempts);
  if (words != nullptr) *words = status.Failed() ? attempts : std::string();
  return status;
}

}  // namespace xv
