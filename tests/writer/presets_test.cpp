#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>

#include "support/media_probe.h"
#include "xvwriter/list.hpp"

// The presets that a host takes out of the served list.
namespace xv::test {
namespace {

constexpr int kFrames = 3;

struct Entry {
  std::string format;
  std::string name;
  std::string size;
  int megabits = 0;
};

// The video entries of that codec in the formats that list one for each rate.
std::vector<Entry> EntriesPerRate(const char* codec) {
  const host::ServedList list((host::Writer()));
  std::vector<Entry> entries;
  for (const host::ListEntry& format : list.Entries("formats::format")) {
    for (const host::ListEntry& one : list.Entries(format.path + "::video::codec")) {
      const std::string name = one.Text("name");
      const bool named = name.rfind("DNxHD ", 0) == 0 || name.rfind("IMX ", 0) == 0;
      if (one.Text("id") != codec || !named || name.find('(') != std::string::npos) continue;
      entries.push_back({format.Text("name"), name, one.Text("size"), std::stoi(one.Text("b"))});
    }
  }
  return entries;
}

// Of packets that all have `bytes`.
ProbedStream RecordEntry(const Entry& entry, const Feed& feed, std::size_t bytes) {
  const auto text = host::PresetText(host::Writer(), entry.format, entry.name, "pcm_s16le");
  const bool mxf = entry.format.rfind("MXF", 0) == 0;
  const ProbedFile file = RecordAndProbe(mxf ? "a.mxf" : "a.mov", text.value(), feed, kFrames);
  EXPECT_EQ(file.Pictures().packets.size(), std::size_t{kFrames});
  for (const auto& packet : file.Pictures().packets) EXPECT_EQ(packet.bytes.size(), bytes);
  return file.Pictures();
}

// Compression ids and sizes of a coding unit of SMPTE ST 2019-1.
struct Vc3 {
  const char* raster;
  std::vector<int> megabits;
  int id;
  std::size_t bytes;
};
const Vc3 kVc3[] = {
    {"1920x1080P", {36, 45, 75, 90}, 1253, 188416},
    {"1920x1080P", {115, 120, 145, 240, 290}, 1237, 606208},
    {"1920x1080P", {175, 185, 220, 365, 440}, 1238, 917504},
    {"1920x1080T", {120, 145}, 1242, 606208},
    {"1920x1080T", {185, 220}, 1243, 917504},
    {"1280x720P", {90, 110, 180, 220}, 1251, 458752},
    {"1280x720P", {60, 75, 120, 145}, 1252, 303104},
};

TEST(Presets, EachVc3RateIsWrittenAsItsCompressionId) {
  const std::vector<Entry> entries = EntriesPerRate("dnxhd");
  EXPECT_EQ(entries.size(), 52u) << "26 in MOV, the same in MXF";
  for (const Entry& entry : entries) {
    SCOPED_TRACE(entry.format + ": " + entry.name);
    const auto expected = std::find_if(std::begin(kVc3), std::end(kVc3), [&](const Vc3& one) {
      return entry.size == one.raster &&
             std::count(one.megabits.begin(), one.megabits.end(), entry.megabits) > 0;
    });
    ASSERT_NE(expected, std::end(kVc3));
    Feed feed;
    ASSERT_EQ(std::sscanf(entry.size.c_str(), "%dx%d", &feed.width, &feed.height), 2);
    feed.interlace = entry.size.back() == 'T' ? eXvI_TopFirst : eXvI_Progressive;
    const ProbedStream video = RecordEntry(entry, feed, expected->bytes);
    // The id stands at byte 40 of a unit's header, in four bytes.
    const std::string& unit = video.packets.front().bytes;
    EXPECT_EQ(static_cast<std::uint8_t>(unit[42]) << 8 | static_cast<std::uint8_t>(unit[43]),
              expected->id);
    EXPECT_TRUE(video.width == feed.width && video.height == feed.height);
    EXPECT_EQ(video.interlaced, feed.interlace == eXvI_TopFirst);
    EXPECT_TRUE(!video.interlaced || video.topFirst);
    EXPECT_EQ(video.errors, 0);
  }
}

TEST(Presets, EachImxRateIsConstant) {
  const std::vector<Entry> entries = EntriesPerRate("mpeg2video");
  EXPECT_EQ(entries.size(), 6u) << "IMX 30, 40, 50 in MOV and in D-10";
  for (const Entry& entry : entries) {
    SCOPED_TRACE(entry.format + ": " + entry.name);
    const auto bytes = static_cast<std::size_t>(entry.megabits) * 1'000'000 / 8 / 25;
    const ProbedStream video = RecordEntry(entry, {.interlace = eXvI_TopFirst}, bytes);
    EXPECT_EQ(video.profile, FF_PROFILE_MPEG2_422);
    EXPECT_TRUE(video.interlaced && video.topFirst);
    // A strict decoder counts the stuffing of these flat pictures as errors; they are whole.
    EXPECT_THAT(video.lumaMeans, testing::SizeIs(kFrames));
  }
}

}  // namespace
}  // namespace xv::test
