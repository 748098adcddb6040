#pragma once

#include <string>
#include <vector>

#include "lists/selection.h"
#include "support/host_frames.h"

// What the served list offers, as recordings that take its rows one by one.
namespace xv::test {

// A codec or a container of the list with the rows that it shows.
struct ListedEntry {
  std::string name;    // "video libx264", "mp4 MP4 (MPEG-4 Part 14)"
  std::string prefix;  // of its attributes: "video::", "audio::" or ""
  std::string target;  // name of a file that it writes
  std::string preset;  // attributes that select it
  Feed feed;           // what it takes
  std::vector<ListedAttribute> rows;
};

// All that this machine writes into files: each codec in the first container that has it, each
// container with its first codecs.
std::vector<ListedEntry> ListedEntries();

// "name=value" with the value in quotes, as an attribute text has it.
std::string Setting(const ListedEntry& entry, const std::string& name, const std::string& value);

}  // namespace xv::test
