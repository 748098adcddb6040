#include "hw/vendor_folder.h"

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <filesystem>

#include "support/temporary_folder.h"

namespace xv {
namespace {

using test::ScopedVariable;
using ::testing::HasSubstr;

// Links to a library that every machine has, under names that none has.
class VendorFolderTest : public ::testing::Test {
 protected:
  void Link(const std::string& name) const {
    Dl_info info{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&::dlopen), &info), 0);
    std::filesystem::create_symlink(info.dli_fname, folder_.Path(name));
  }
  Status Open() { return OpenVendorLibrary(library_, {"libxvfirst.so", "libxvlast.so"}, &words_); }

  const test::TemporaryFolder folder_;
  const ScopedVariable settings_{"XVWRITER_SETTINGS", folder_.Path("settings.toml")};
  const ScopedVariable none_{"XVWRITER_VENDOR_FOLDER", ""};
  DynamicLibrary library_;
  std::string words_;
};

TEST_F(VendorFolderTest, FolderComesFromTheEnvironmentThenFromTheSettings) {
  EXPECT_EQ(VendorFolder(), "");
  folder_.Write("settings.toml", "[Hardware]\nvendor_folder = '/of/the/settings'\n");
  EXPECT_EQ(VendorFolder(), "/of/the/settings");
  const ScopedVariable given("XVWRITER_VENDOR_FOLDER", "/of/the/environment");
  EXPECT_EQ(VendorFolder(), "/of/the/environment");
}

TEST_F(VendorFolderTest, OpensWhatTheFolderHoldsAndThenWhatTheSystemHas) {
  const ScopedVariable given("XVWRITER_VENDOR_FOLDER", folder_.Path());
  EXPECT_EQ(Open(), XV_E_VENDOR_LIBRARY);
  EXPECT_FALSE(library_.IsOpen());
  for (const std::string& tried :
       {folder_.Path("libxvfirst.so: "), folder_.Path("libxvlast.so: "),
        std::string("; libxvfirst.so: "), std::string("; libxvlast.so: ")}) {
    EXPECT_THAT(words_, HasSubstr(tried));
  }
  folder_.Write("libxvfirst.so", "not a library");
  Link("libxvlast.so");
  EXPECT_EQ(Open(), S_OK);
  EXPECT_NE(library_.Symbol("dlopen"), nullptr);
  EXPECT_EQ(words_, "");
  EXPECT_EQ(OpenVendorLibrary(library_, {"libm.so.6"}), S_OK);
  EXPECT_NE(library_.Symbol("cos"), nullptr);
}

}  // namespace
}  // namespace xv
