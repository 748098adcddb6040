#pragma once

#include <cstdint>
#include <deque>
#include <string_view>

namespace xv {

// Makes CEA-608 pop-on captions of text, for sources that have none: one pair for each frame of 30
// or less a second. Control codes go out twice, all bytes have odd parity. One caller at a time.
class Cea608Text {
 public:
  static constexpr std::uint16_t kNullPair = 0x8080;
  static constexpr int kColumns = 32;

  // Queues a caption that replaces the one on display when its last pair is out. Up to two rows,
  // split at a line end, of kColumns characters; what CEA-608 does not have becomes a blank.
  void Say(std::string_view text);
  // The next pair, first byte low; kNullPair when nothing is queued.
  std::uint16_t NextPair();
  bool IsIdle() const { return pairs_.empty(); }

 private:
  void Control(std::uint8_t first, std::uint8_t second);
  void Row(int row, std::string_view text);
  void Pair(std::uint8_t first, std::uint8_t second);

  std::deque<std::uint16_t> pairs_;
};

}  // namespace xv
