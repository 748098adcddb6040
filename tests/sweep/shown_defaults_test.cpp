#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "sweep/listed_entries.h"

// What a dialog shows as the default is what an untouched recording has.
namespace xv::test {
namespace {

constexpr int kFrames = 8;

// A recording's files and what was noted of its attributes.
struct Recorded {
  HRESULT result = S_OK;
  std::string unused;
  std::string bad;
  std::map<std::string, std::string> files;
};

Recorded RecordWith(const ListedEntry& entry, const std::string& attributes) {
  namespace fs = std::filesystem;
  TemporaryFolder folder;
  Recorded out;
  host::Writer writer;
  out.result = Record(writer, folder / entry.target,
                      entry.preset + " fflags=+bitexact" + attributes, entry.feed, kFrames);
  out.unused = writer.Get("quality::unused_options");
  out.bad = writer.Get("quality::bad_values");
  const fs::path root = folder / "";
  for (const auto& file : fs::recursive_directory_iterator(root)) {
    if (!file.is_regular_file()) continue;
    std::ostringstream bytes;
    bytes << std::ifstream(file.path(), std::ios::binary).rdbuf();
    out.files[fs::relative(file.path(), root)] = bytes.str();
  }
  return out;
}

TEST(ShownDefaults, AllOfAnEntryChangeNoByteOfItsRecording) {
  const std::vector<ListedEntry> entries = ListedEntries();
  EXPECT_GT(entries.size(), 50u);
  for (const ListedEntry& entry : entries) {
    SCOPED_TRACE(entry.name + ": " + entry.preset);
    std::string defaults;
    for (const ListedAttribute& row : entry.rows) {
      // What the preset of the entry says, it says.
      const bool preset = entry.preset.find(entry.prefix + row.name + "=") != std::string::npos;
      if (row.defaultValue.empty() || preset || row.type == "read-only") continue;
      defaults += Setting(entry, row.name, row.defaultValue);
    }
    const Recorded plain = RecordWith(entry, "");
    const Recorded shown = RecordWith(entry, defaults);
    EXPECT_EQ(plain.result, S_OK);
    EXPECT_EQ(shown.result, S_OK);
    EXPECT_EQ(shown.unused, "");
    EXPECT_EQ(shown.bad, "");
    EXPECT_FALSE(plain.files.empty());
    EXPECT_TRUE(plain.files == shown.files) << defaults;
  }
}

}  // namespace
}  // namespace xv::test
