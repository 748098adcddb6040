#include "settings/class_registry.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "support/temporary_folder.h"

namespace xv {
namespace {

constexpr char kId[] = "00112233-4455-6677-8899-aabbccddeeff";

TEST(ClassRegistry, WhatIsWrittenIsFoundUntilItIsRemoved) {
  test::TemporaryFolder folder;
  const std::string classes = folder.Path("a/classes");
  EXPECT_FALSE(FindRegisteredClass({classes}, kId));
  ASSERT_EQ(WriteClassFile(classes, {kId, "Some.Class.1", "/opt/\"odd\\name\".so"}), Status(S_OK));
  ASSERT_EQ(WriteClassFile(classes, {kId, "Some.Class.2", "/opt/\"odd\\name\".so"}), Status(S_OK));
  const auto found =
      FindRegisteredClass({folder.Path(), classes}, "00112233-4455-6677-8899-AABBCCDDEEFF");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->programId, "Some.Class.2");
  EXPECT_EQ(found->module, "/opt/\"odd\\name\".so");
  EXPECT_EQ(RemoveClassFile(classes, kId), Status(S_OK));
  EXPECT_EQ(RemoveClassFile(classes, kId), Status(XV_E_NOT_FOUND));
  EXPECT_FALSE(FindRegisteredClass({classes}, kId));
}

TEST(ClassRegistry, RelativeModulesStartAtTheFileAndTheFirstFolderWins) {
  test::TemporaryFolder first;
  test::TemporaryFolder second;
  const std::string file = std::string(kId) + ".toml";
  second.Write(file, "class_id = '" + std::string(kId) + "'\nmodule = '../lib/b.so'\n");
  EXPECT_EQ(FindRegisteredClass({first.Path(), second.Path()}, kId).value().module,
            second.Path("../lib/b.so"));
  first.Write(file, "class_id = '" + std::string(kId) + "'\nmodule = '/a.so'\n");
  EXPECT_EQ(FindRegisteredClass({first.Path(), second.Path()}, kId).value().module, "/a.so");
}

TEST(ClassRegistry, SpoiltFilesCountAsNone) {
  test::TemporaryFolder folder;
  const std::string file = std::string(kId) + ".toml";
  for (const char* text :
       {"", "[[[", "module = '/a.so'\n", "class_id = 'another'\nmodule = '/a.so'\n",
        "class_id = '00112233-4455-6677-8899-aabbccddeeff'\nmodule = ''\n"}) {
    folder.Write(file, text);
    EXPECT_FALSE(FindRegisteredClass({folder.Path()}, kId)) << text;
  }
  std::filesystem::remove(folder.Path(file));
  std::filesystem::create_directory(folder.Path(file));
  EXPECT_FALSE(FindRegisteredClass({folder.Path()}, kId));
  EXPECT_TRUE(WriteClassFile(folder.Path(), {kId, "", "/a.so"}).Failed());
  EXPECT_EQ(WriteClassFile(folder.Path(), {kId, "", ""}), Status(E_INVALIDARG));
}

}  // namespace
}  // namespace xv
