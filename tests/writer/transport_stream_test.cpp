#include <gmock/gmock.h>

#include <algorithm>
#include <map>

#include "support/host_frames.h"
#include "support/temporary_folder.h"

// The clock of a transport stream, read from its packets.
namespace xv::test {
namespace {

constexpr double kTicks = 90;  // of the clock in a millisecond

std::int64_t TimeStamp(const std::uint8_t* at) {
  return std::int64_t{at[0] >> 1 & 7} << 30 | at[1] << 22 | (at[2] >> 1) << 15 | at[3] << 7 |
         at[4] >> 1;
}

// The least and the greatest distance of a packet's decoding time behind the clock before it.
struct Lead {
  double least = 1e9;
  double most = -1e9;
  int packets = 0;
};

// In milliseconds, of each elementary stream by its PID.
std::map<int, Lead> LeadsOf(const std::string& bytes) {
  std::map<int, Lead> leads;
  std::int64_t clock = -1;
  for (std::size_t at = 0; at + 188 <= bytes.size(); at += 188) {
    const auto* packet = reinterpret_cast<const std::uint8_t*>(bytes.data() + at);
    const bool adapted = (packet[3] & 0x20) != 0;
    if (adapted && packet[4] > 0 && (packet[5] & 0x10) != 0) {
      const std::uint8_t* base = packet + 6;
      clock =
          std::int64_t{base[0]} << 25 | base[1] << 17 | base[2] << 9 | base[3] << 1 | base[4] >> 7;
    }
    const std::uint8_t* pes = packet + 4 + (adapted ? 1 + packet[4] : 0);
    if (clock < 0 || (packet[1] & 0x40) == 0 || pes > packet + 168) continue;
    if (pes[0] != 0 || pes[1] != 0 || pes[2] != 1 || (pes[7] & 0x80) == 0) continue;
    const bool decoding = (pes[7] & 0x40) != 0;
    Lead& lead = leads[(packet[1] & 0x1F) << 8 | packet[2]];
    const double ahead = static_cast<double>(TimeStamp(pes + (decoding ? 14 : 9)) - clock) / kTicks;
    lead.least = std::min(lead.least, ahead);
    lead.most = std::max(lead.most, ahead);
    ++lead.packets;
  }
  return leads;
}

struct Stream {
  const char* target;
  const char* read;  // what the clock is read from
  const char* attributes;
  double lead;  // about, in milliseconds
};

class TransportStream : public testing::TestWithParam<Stream> {};

TEST_P(TransportStream, PacketsComeAheadOfTheirTime) {
  TemporaryFolder folder;
  host::Writer writer;
  const std::string attributes = std::string(
                                     "video::codec=mpeg2video video::b=4M "
                                     "audio::codec=mp2 second_encoder::format=mpegts ") +
                                 GetParam().attributes + (folder / "b.ts");
  ASSERT_EQ(Record(writer, folder / GetParam().target, attributes, Feed(), 50), S_OK);
  EXPECT_EQ(writer.Get("quality::unused_options"), "");
  const auto leads = LeadsOf(folder.Read(GetParam().read));
  ASSERT_EQ(leads.size(), 2U);
  for (const auto& [pid, lead] : leads) {
    EXPECT_GT(lead.packets, 40) << pid;
    EXPECT_GT(lead.least, GetParam().lead - 60) << pid;
    EXPECT_LT(lead.most, GetParam().lead + 120) << pid;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Targets, TransportStream,
    testing::Values(Stream{"a.ts", "a.ts", "second_encoder=", 700},
                    Stream{"a.ts", "a.ts", "muxrate=8M second_encoder=", 700},
                    Stream{"a.ts", "a.ts", "max_delay=200000 second_encoder=", 200},
                    Stream{"a.mov", "b.ts", "second_encoder=", 700},
                    Stream{"a.mov", "b.ts",
                           "second_encoder::max_delay=300000 second_encoder=", 300},
                    Stream{"a.m3u8", "a0.ts", "format=hls second_encoder=", 700}));

}  // namespace
}  // namespace xv::test
