// The reader on a document of the catalogue's kind, and path lookups in it. The peer of the reader
// is memcpy of the same text.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

#include "tree/node.h"
#include "values/value_syntax.h"

namespace {

using Clock = std::chrono::steady_clock;
using xv::XMLParse::CoXMLNode;

std::string Document() {
  std::string text = "<formats>\n";
  for (int f = 0; f < 30; ++f) {
    text += "<format id='format" + std::to_string(f) + "' name='Format'>\n<video_codecs>\n";
    for (int c = 0; c < 30; ++c) {
      text += "<codec id='codec" + std::to_string(c) +
              "' name='A codec of this format' b='5M' g='25'>\n"
              "<attributes_info><b type='rate' default='5M' min='1K' max='100M'>Bit "
              "rate</b></attributes_info>\n</codec>\n";
    }
    text += "</video_codecs>\n</format>\n";
  }
  return text + "</formats>\n";
}

// A megabyte of attribute text whose names all differ: `before` number `behind`.
std::string Attributes(const char* before, const char* behind, std::size_t bytes) {
  std::string text;
  for (int i = 0; text.size() < bytes; ++i) text += before + std::to_string(i) + behind;
  return text;
}

double Seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

}  // namespace

int main() {
  const std::string text = Document();
  const auto node = CoXMLNode::Create("root");
  double best = 1e9, copy = 1e9;
  std::string target(text.size(), ' ');
  for (int i = 0; i < 20; ++i) {
    const auto begin = Clock::now();
    if (node->ReadXml(text).Failed()) return 1;
    const auto read = Clock::now();
    std::memcpy(target.data(), text.data(), text.size());
    best = std::min(best, Seconds(read - begin));
    copy = std::min(copy, Seconds(Clock::now() - read));
  }
  constexpr int kLookups = 1'000'000;
  std::int64_t found = 0;
  const auto begin = Clock::now();
  for (int i = 0; i < kLookups; ++i) {
    found += xv::ReadRate(node->Text("format[7]::video_codecs::codec[3]::b"));
  }
  const double lookups = Seconds(Clock::now() - begin);
  std::printf("reader   %7.1f MB/s on %zu kB (memcpy %.0f MB/s)\n",
              static_cast<double>(text.size()) / 1e6 / best, text.size() / 1000,
              static_cast<double>(text.size()) / 1e6 / copy);
  std::printf("lookups  %7.2f million/s, four levels deep (%lld)\n", kLookups / lookups / 1e6,
              static_cast<long long>(found / kLookups));
  // Twice the text in twice the time.
  for (const auto& [before, behind] :
       {std::pair{" n", "=1"}, {" n", "::a=1"}, {" x::n", "=1"}, {" n[", "]::a=1"}}) {
    double seconds[2];
    for (std::size_t megabytes : {1, 2}) {
      const std::string attributes = Attributes(before, behind, megabytes * 1'000'000);
      const auto merged = CoXMLNode::Create("root");
      const auto start = Clock::now();
      merged->MergeText(attributes, xv::XMLParse::MergeMode::kReplace);
      seconds[megabytes - 1] = Seconds(Clock::now() - start);
    }
    std::printf("text of \"%s0%s\"  %.0f ms a megabyte, %.0f ms two\n", before, behind,
                seconds[0] * 1e3, seconds[1] * 1e3);
  }
  return 0;
}
