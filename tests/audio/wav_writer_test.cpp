#include "audio/wav_writer.h"

#include <gmock/gmock.h>

#include <cstring>

#include "support/media_probe.h"

namespace xv {
namespace {

class WavWriterTest : public ::testing::Test {
 protected:
  std::string Bytes(std::size_t limit) const { return folder_.Read("a.wav").substr(0, limit); }
  // The payload that a reader finds.
  static std::string DataOf(const test::ProbedStream& sound) {
    std::string data;
    for (const test::ProbedPacket& packet : sound.packets) data += packet.bytes;
    return data;
  }

  const test::TemporaryFolder folder_;
  const std::string path_ = folder_ / "a.wav";
};

std::uint32_t U32(const std::string& bytes, std::size_t at) {
  std::uint32_t value;
  std::memcpy(&value, bytes.data() + at, 4);
  return value;
}

TEST_F(WavWriterTest, EveryFormatReadsBackAsWritten) {
  for (const auto& [channels, bits, codec] : {std::tuple{2, 16, "pcm_s16le"},
                                              {1, 24, "pcm_s24le"},
                                              {2, 20, "pcm_s24le"},
                                              {6, 16, "pcm_s16le"},
                                              {2, 32, "pcm_s32le"},
                                              {8, -32, "pcm_f32le"},
                                              {32, 24, "pcm_s24le"}}) {
    SCOPED_TRACE(testing::Message() << channels << " channels of " << bits << " bits");
    const int width = bits == 16 ? 2 : bits == 32 || bits == -32 ? 4 : 3;
    std::string data(static_cast<std::size_t>(11 * channels * width), '\0');
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i * 37);
    WavWriter writer;
    ASSERT_EQ(writer.Open(path_, {channels, 48000, bits, 0}), S_OK);
    ASSERT_EQ(writer.Write(reinterpret_cast<const std::uint8_t*>(data.data()),
                           static_cast<std::uint32_t>(data.size())),
              S_OK);
    ASSERT_EQ(writer.Close(), S_OK);
    const test::ProbedFile file = test::Probe(path_);
    const test::ProbedStream& sound = file.Sound();
    EXPECT_EQ(sound.codec, codec);
    EXPECT_TRUE(sound.channels == channels && sound.sampleRate == 48000);
    EXPECT_EQ(DataOf(sound), data);
    const auto size = std::filesystem::file_size(path_);
    EXPECT_EQ(size % 2, 0u);
    EXPECT_EQ(U32(Bytes(8), 4), size - 8);
  }
}

TEST_F(WavWriterTest, FileBeyondTheRiffLimitBecomesRf64WithTrueSizes) {
  constexpr std::uint64_t kLimit = 3 << 20;
  WavWriter writer(kLimit);
  ASSERT_EQ(writer.Open(path_, {2, 48000, 16, 0}), S_OK);
  const std::vector<std::uint8_t> block(1 << 20, 7);
  ASSERT_EQ(writer.Write(block.data(), 1 << 20), S_OK);
  EXPECT_EQ(U32(Bytes(4), 0), 0x46464952u) << "RIFF below the limit";
  for (int i = 0; i < 3; ++i) ASSERT_EQ(writer.Write(block.data(), 1 << 20), S_OK);
  ASSERT_EQ(writer.Close(), S_OK);
  const std::string head = Bytes(80);
  EXPECT_EQ(head.substr(0, 4), "RF64");
  EXPECT_EQ(U32(head, 4), 0xFFFFFFFFu);
  EXPECT_EQ(head.substr(12, 4), "ds64");
  EXPECT_EQ(U32(head, 20), std::filesystem::file_size(path_) - 8);
  EXPECT_EQ(U32(head, 28), 4u << 20);
  EXPECT_EQ(U32(head, 36), 1u << 20) << "samples of all channels";
  EXPECT_EQ(DataOf(test::Probe(path_).Sound()).size(), 4u << 20);
}

TEST_F(WavWriterTest, CutOffRecordingStillReads) {
  WavWriter writer;
  ASSERT_EQ(writer.Open(path_, {2, 48000, 16, 0}), S_OK);
  const std::vector<std::uint8_t> block(1 << 20, 1);
  ASSERT_EQ(writer.Write(block.data(), 1 << 20), S_OK);
  EXPECT_EQ(DataOf(test::Probe(path_).Sound()).size(), block.size());
}

TEST_F(WavWriterTest, MisuseIsReported) {
  WavWriter writer;
  EXPECT_EQ(writer.Open(path_, {0, 48000, 16, 0}), E_INVALIDARG);
  EXPECT_TRUE(writer.Open(folder_ / "none/a.wav", {2, 48000, 16, 0}).Failed());
  EXPECT_EQ(writer.Write(nullptr, 0), E_UNEXPECTED);
  EXPECT_EQ(writer.Close(), S_OK);
}

}  // namespace
}  // namespace xv
