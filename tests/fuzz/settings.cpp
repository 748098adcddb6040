#include "settings/settings_store.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

// Any bytes as the user's settings: what the file holds stays in it when keys are added, and the
// added ones are found.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = "/dev/shm/xvwriter-fuzz-" + std::to_string(getpid()) + ".toml";
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::ofstream(path, std::ios::binary) << text;
  xv::SettingsStore store(path);
  xv::SettingsTable table;
  const bool read = store.Read(&table).Ok();
  const bool added =
      store.AddMissing({{"fuzz.number", "12"}, {"fuzz.text", "a \"b\""}}) == xv::S_OK;
  std::ifstream file(path, std::ios::binary);
  const std::string after{std::istreambuf_iterator<char>(file), {}};
  file.close();
  unlink(path.c_str());
  if (!added) {
    if (after != text) std::abort();
    return 0;
  }
  if (!read) std::abort();
  std::ofstream(path, std::ios::binary) << after;
  xv::SettingsTable again;
  const bool readAgain = xv::SettingsStore(path).Read(&again).Ok();
  unlink(path.c_str());
  if (!readAgain || again.tables.size() != table.tables.size()) std::abort();
  for (const auto& [key, value] : table.values) {
    if (again.Text(key) != table.Text(key)) std::abort();
  }
  if (again.Text("fuzz.number").empty() || again.Text("fuzz.text").empty()) std::abort();
  return 0;
}
