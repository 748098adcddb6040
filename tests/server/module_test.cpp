#include <gmock/gmock.h>

#include <filesystem>
#include <sstream>

#include "support/peer_process.h"
#include "support/temporary_folder.h"
#include "xvwriter/host.hpp"
#include "xvwriter/registration.h"

namespace xv::test {
namespace {

using testing::HasSubstr;

// Of the example, a module of somebody else.
constexpr Guid kOtherClass{
    0xc1d9f0a7, 0x3b52, 0x4e68, {0x9f, 0x14, 0xd0, 0x7a, 0x86, 0xe2, 0xb5, 0xc3}};
constexpr char kOtherClassText[] = "c1d9f0a7-3b52-4e68-9f14-d07a86e2b5c3";
constexpr char kWriterFile[] = "classes/4c93300c-351a-422f-ae57-a8a5a9777c4c.toml";

// The user's registered classes stand in a folder of the test's own.
class Module : public testing::Test {
 protected:
  void RegisterOther(const std::string& module) {
    std::filesystem::create_directories(folder_.Path("classes"));
    folder_.Write(std::string("classes/") + kOtherClassText + ".toml",
                  std::string("class_id = '") + kOtherClassText + "'\nmodule = '" + module + "'\n");
  }
  static HRESULT CreateOther(void** out) {
    return XvCreateInstance(kOtherClass, nullptr, IUnknown::kIid, out);
  }

  const TemporaryFolder folder_;
  const ScopedVariable settings_{"XVWRITER_SETTINGS", folder_ / "settings.toml"};
};

TEST_F(Module, ForeignProgramMakesAWriterFromTheClassIdAlone) {
  const std::vector<std::string> program = {FOREIGN_PROGRAM, folder_.Path("classes")};
  EXPECT_NE(RunProgram(program).status, 0);
  ASSERT_EQ(DllRegisterServer(), S_OK);
  EXPECT_THAT(folder_.Read(kWriterFile),
              HasSubstr("program_id = \"XvWriterFFM.CoXvWriterFFM_I.1\""));
  const ProgramResult run = RunProgram(program);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(DllUnregisterServer(), S_OK);
  EXPECT_FALSE(std::filesystem::exists(folder_.Path(kWriterFile)));
  EXPECT_EQ(DllUnregisterServer(), S_OK);
}

TEST_F(Module, RegistrationThatCannotBeWrittenSaysSo) {
  folder_.Write("classes", "a file, no folder");
  EXPECT_TRUE(Failed(DllRegisterServer()));
  EXPECT_EQ(folder_.Read("classes"), "a file, no folder");
}

TEST_F(Module, ClassOfAnotherModuleIsMadeOnceItIsRegistered) {
  void* out = this;
  EXPECT_EQ(CreateOther(&out), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(out, nullptr);
  RegisterOther(folder_.Write("broken.so", "no library"));
  EXPECT_EQ(CreateOther(&out), CLASS_E_CLASSNOTAVAILABLE);
  RegisterOther(WRITER_LIBRARY);  // a module without that class
  EXPECT_EQ(CreateOther(&out), CLASS_E_CLASSNOTAVAILABLE);
  RegisterOther(OTHER_MODULE);
  ASSERT_EQ(CreateOther(&out), S_OK);
  EXPECT_EQ(static_cast<IUnknown*>(out)->Release(), 0u);
  EXPECT_EQ(XvCreateInstance(kOtherClass, nullptr, IClassFactory::kIid, &out), E_NOINTERFACE);
  EXPECT_EQ(CreateOther(nullptr), E_POINTER);
}

TEST(ModuleFile, ExportsOurNamesOnly) {
  const ProgramResult run =
      RunProgram({"nm", "-D", "--defined-only", "--format=posix", WRITER_LIBRARY});
  ASSERT_EQ(run.status, 0) << run.err;
  std::istringstream lines(run.out);
  std::vector<std::string> names;
  for (std::string line; std::getline(lines, line);) {
    const std::string name = line.substr(0, line.find_first_of(" @"));
    if (name != "XVWRITER_1") names.push_back(name);
  }
  EXPECT_THAT(names,
              testing::Each(testing::AnyOf(testing::StartsWith("Xv"), testing::StartsWith("Dll"))));
  EXPECT_THAT(names,
              testing::IsSupersetOf({"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer",
                                     "DllUnregisterServer", "XvCreateInstance", "XvFrameFactoryGet",
                                     "XvSetWarningHandler", "XvStringAlloc"}));
  EXPECT_THAT(RunProgram({"readelf", "-d", WRITER_LIBRARY}).out,
              HasSubstr("soname: [libxvwriterffm.so.1]"));
}

}  // namespace
}  // namespace xv::test
