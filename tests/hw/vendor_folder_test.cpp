#include "hw/vendor_folder.h"

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <filesystem>

#include "support/temporary_folder.h"

namespace xv {
namespace {

using test::ScopedVariable;

TEST(VendorFolder, ComesFromTheEnvironmentElseTheSettingsAndGoesAheadOfTheSystem) {
  const test::TemporaryFolder folder;
  const ScopedVariable settings("XVWRITER_SETTINGS", folder.Path("settings.toml"));
  const ScopedVariable none("XVWRITER_VENDOR_FOLDER", "");
  EXPECT_EQ(VendorFolder(), "");
  folder.Write("settings.toml", "[Hardware]\nvendor_folder = '/of/the/settings'\n");
  EXPECT_EQ(VendorFolder(), "/of/the/settings");
  const ScopedVariable given("XVWRITER_VENDOR_FOLDER", folder.Path());
  EXPECT_EQ(VendorFolder(), folder.Path());
  // Names that no machine has, then a library that each has under one of them.
  DynamicLibrary library;
  std::string words;
  const std::initializer_list<const char*> names = {"libxvfirst.so", "libxvlast.so"};
  EXPECT_EQ(OpenVendorLibrary(library, names, &words), XV_E_VENDOR_LIBRARY);
  EXPECT_FALSE(library.IsOpen());
  for (const std::string& tried :
       {folder / "libxvfirst.so: ", folder / "libxvlast.so: ", std::string("; libxvfirst.so: "),
        std::string("; libxvlast.so: ")}) {
    EXPECT_THAT(words, ::testing::HasSubstr(tried));
  }
  folder.Write("libxvfirst.so", "not a library");
  Dl_info info{};
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&::dlopen), &info), 0);
  std::filesystem::create_symlink(info.dli_fname, folder / "libxvlast.so");
  EXPECT_EQ(OpenVendorLibrary(library, names, &words), S_OK);
  EXPECT_NE(library.Symbol("dlopen"), nullptr);
  EXPECT_EQ(words, "");
  EXPECT_EQ(OpenVendorLibrary(library, {"libm.so.6"}), S_OK);
  EXPECT_NE(library.Symbol("cos"), nullptr);
}

}  // namespace
}  // namespace xv
