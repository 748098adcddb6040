#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/status.h"

// The user's settings: one TOML file of keys with integers and strings, tables below it.
namespace xv {

// A table of the file with its values as text: integers in decimal, strings as they are, booleans
// as "true" and "false", the members of an array with ", " between them.
struct SettingsTable {
  std::string name;  // "" for the file's own
  std::vector<std::pair<std::string, std::string>> values;
  std::vector<SettingsTable> tables;

  // The value of a key in any case, "" for one that is not there.
  std::string_view Text(std::string_view key) const;
};

// $XVWRITER_SETTINGS, else xvwriterffm.toml in velarion/tessaline/xvwriter of the user's
// configuration folder ($XDG_CONFIG_HOME, else ~/.config). Empty when there is no such folder.
std::string SettingsPath();

// The table `name`, in any case, of the user's settings as they are now; an empty one where there
// is none.
SettingsTable ReadSettingsTable(std::string_view name);

// A text as a TOML string with its quotes.
std::string QuotedSetting(std::string_view text);

// One read of the file and at most one write, in this order. What cannot be read or written is left
// as it is; no operation fails for it. One caller at a time; the file may have other users.
class SettingsStore {
 public:
  explicit SettingsStore(std::string path = SettingsPath()) : path_(std::move(path)) {}

  // S_OK with what the file holds; S_FALSE when there is no file; a failure when it cannot be read
  // or is no TOML, and then nothing will be written to it.
  Status Read(SettingsTable* out);

  // Adds the keys that the file lacks (names compare without regard to case) and keeps the rest
  // byte for byte. A text that is a decimal integer from 0 to 2147483647, or "0x" with 16
  // upper-case digits, becomes an integer, everything else a string; the name "" is the table's own
  // value. S_FALSE when nothing was to be added or the file is not to be written.
  Status AddMissing(const std::vector<std::pair<std::string, std::string>>& values);

 private:
  std::string path_;
  std::string text_;
  std::vector<std::string> keys_;  // of the file's own table
  bool hasTables_ = false;
  bool writable_ = false;
};

}  // namespace xv
