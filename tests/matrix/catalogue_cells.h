#pragma once

#include <string>
#include <vector>

#include "tree/node.h"

// The cells of the served list: what this machine offers to write, format by codec by codec.
namespace xv::test {

// A format of the list with the codecs that it takes. A codec may be the "null" that leaves its
// kind out, or without an id the format's own default.
struct ListedFormat {
  XMLParse::XMLNodePtr node;
  std::vector<XMLParse::XMLNodePtr> videos;
  std::vector<XMLParse::XMLNodePtr> audios;
};

struct Cell {
  XMLParse::XMLNodePtr format;
  XMLParse::XMLNodePtr video;  // may be null: the format has none
  XMLParse::XMLNodePtr audio;  // the same
};

// The list as a fresh writer serves it.
const XMLParse::CoXMLNode& ServedList();
// The formats that can be walked; names of display, each once.
std::vector<std::string> WalkedFormats();
ListedFormat FormatNamed(const std::string& name);

// Each video codec with the first named audio codec, and each audio codec with the first video one.
std::vector<Cell> CrossOf(const ListedFormat& format);
// Never empty: a kind without codecs gives one null.
std::vector<XMLParse::XMLNodePtr> OrNothing(const std::vector<XMLParse::XMLNodePtr>& codecs);

std::string NameOf(const XMLParse::XMLNodePtr& codec);  // of display; "" for none
std::string IdOf(const XMLParse::XMLNodePtr& codec);
// Of a file that the format writes, of as many files as there are pictures where each is one.
std::string FileNameOf(const XMLParse::XMLNodePtr& format, const XMLParse::XMLNodePtr& video);
// Whether the container gets a stream of it.
bool Writes(const XMLParse::XMLNodePtr& codec);

}  // namespace xv::test
