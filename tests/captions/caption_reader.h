#pragma once

#include <map>
#include <string>
#include <vector>

#include "support/media_probe.h"

// Reads captions by the letter of ANSI/CTA-608-E and ATSC A/53 part 4; of FFmpeg it takes packets
// alone.
namespace xv::test {

struct ShownCaption {
  double start = 0;  // seconds behind the first picture
  std::string text;  // rows joined by "\n"
};

// The constructs, three bytes each, that a packet has as user data of MPEG or as an SEI message of
// H.264.
inline std::string ConstructsOf(const ProbedPacket& packet) {
  std::string bytes;
  for (const char byte : packet.bytes) {  // of H.264, without what keeps start codes apart
    const bool kept = byte == 3 && bytes.ends_with(std::string("\0\0", 2));
    bytes.append(kept ? 0 : 1, byte);
  }
  for (const std::string& head :
       {std::string("\0\0\1\xB2GA94\3", 9), std::string("\xB5\0\x31GA94\3", 8)}) {
    const std::size_t at = bytes.find(head);
    if (at == std::string::npos || at + head.size() + 2 > bytes.size()) continue;
    const auto flags = static_cast<std::uint8_t>(bytes[at + head.size()]);
    if ((flags & 0x40) != 0) return bytes.substr(at + head.size() + 2, 3 * (flags & 0x1F));
  }
  return {};
}

// The place of a picture in the order of display: of MPEG-2, whose program streams have few stamps,
// the number of its group and its reference within that (ISO/IEC 13818-2, 6.3.9).
inline std::int64_t PlaceOf(const ProbedStream& video, const ProbedPacket& packet, int& groups) {
  if (video.codec != "mpeg2video") return packet.pts;
  const std::string& bytes = packet.bytes;
  if (bytes.find(std::string("\0\0\1\xB8", 4)) != std::string::npos) ++groups;
  const std::size_t at = bytes.find(std::string("\0\0\1\0", 4));
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes.at(at + i)); };
  return groups * 1024 + (byte(4) << 2 | byte(5) >> 6);
}

// Those of each picture, in the order in which they are shown.
inline std::vector<std::string> ConstructsOf(const ProbedStream& video) {
  std::map<std::int64_t, std::string> ordered;
  int groups = 0;
  for (const ProbedPacket& packet : video.packets) {
    ordered[PlaceOf(video, packet, groups)] = ConstructsOf(packet);
  }
  std::vector<std::string> constructs;
  for (const auto& [place, one] : ordered) constructs.push_back(one);
  return constructs;
}

// The first channel of field 1, pop-on captions.
class Cea608Reader {
 public:
  // The captions that a picture at that time brings onto the display.
  void Take(const std::string& constructs, double time, std::vector<ShownCaption>& shown) {
    for (std::size_t i = 0; i + 2 < constructs.size(); i += 3) {
      const bool field1 = (static_cast<std::uint8_t>(constructs[i]) & 7) == 4;  // and valid
      const int first = Character(constructs[i + 1]), second = Character(constructs[i + 2]);
      if (!field1 || first <= 0 || second < 0) continue;
      if (first < 0x20) {
        Control(first, second, time, shown);
      } else {
        hidden_[row_] += static_cast<char>(first);
        if (second >= 0x20) hidden_[row_] += static_cast<char>(second);
        last_ = 0;
      }
    }
  }

 private:
  // Seven bits; -1 where the parity is not odd.
  static int Character(char byte) {
    return __builtin_popcount(static_cast<std::uint8_t>(byte)) % 2 == 1 ? byte & 0x7F : -1;
  }
  void Control(int first, int second, double time, std::vector<ShownCaption>& shown) {
    // Of the rows of a preamble; two codes have no second row.
    static constexpr int kRows[8][2] = {{11, 11}, {1, 2}, {3, 4}, {12, 13},
                                        {14, 15}, {5, 6}, {7, 8}, {9, 10}};
    const int pair = first << 8 | second;
    const bool again = pair == last_;  // codes come twice
    last_ = again ? 0 : pair;
    if (again || first >= 0x18) return;
    if (second >= 0x40) row_ = kRows[first & 7][second >> 5 & 1];
    if (pair == 0x142E) hidden_.clear();
    if (pair != 0x142F) return;  // end of caption: what was hidden is shown
    std::string text;
    for (const auto& [row, line] : hidden_) text += (text.empty() ? "" : "\n") + line;
    shown.push_back({time, text});
    hidden_.clear();
  }

  std::map<int, std::string> hidden_;
  int row_ = 15;
  int last_ = 0;
};

inline std::vector<ShownCaption> ReadCaptions(const std::vector<std::string>& pictures,
                                              double rate) {
  Cea608Reader reader;
  std::vector<ShownCaption> shown;
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    reader.Take(pictures[i], static_cast<double>(i) / rate, shown);
  }
  return shown;
}

}  // namespace xv::test
