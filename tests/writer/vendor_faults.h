#pragma once

#include <map>
#include <thread>

#include "support/media_probe.h"
#include "support/vendor/vendor_fixture.h"

// Vendors' libraries that fail, hang or lose their device: the host is told, what was encoded can
// be played, nothing is left behind.
namespace xv::test {

// What a stand-in does, and what becomes of a recording.
struct VendorFault {
  const char* words;
  HRESULT status;
  const char* told;  // part of the failure's words; "" where none is told
  int least;         // pictures that must be in the file
};

inline void PrintTo(const VendorFault& fault, std::ostream* out) { *out << fault.words; }

inline constexpr Feed kFaultFeed{.width = 192, .height = 128, .channels = 0};

// The first frame is refused in words, nothing is left behind, and the writer works again with the
// library.
inline void ExpectRefusal(const std::string& words, const std::string& told,
                          const std::string& attributes) {
  SCOPED_TRACE(words);
  vendor::Configure(words);
  const TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mp4", attributes), S_OK);
  const HRESULT result = writer.Put(MakeFrame(kFaultFeed, 0));
  EXPECT_TRUE(result == E_FAIL || result == XV_E_VENDOR_LIBRARY) << std::hex << result;
  EXPECT_THAT(writer.LastError(), testing::HasSubstr(told));
  EXPECT_EQ(writer.Stop(), result);
  EXPECT_FALSE(std::filesystem::exists(folder / "a.mp4"));
  EXPECT_THAT(vendor::Held(), testing::IsEmpty());
  vendor::Reset();
  EXPECT_EQ(Record(writer, folder / "b.mp4", attributes, kFaultFeed, 5), S_OK);
}

// Frames until one fails, `pause` apart: the failure is the stop's too, and what was encoded plays.
inline void ExpectKept(const VendorFault& fault, const std::string& attributes,
                       std::chrono::milliseconds pause = {}) {
  vendor::Configure(fault.words);
  const TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mp4", attributes), S_OK);
  HRESULT put = S_OK;
  for (int i = 0; i < 60 && put == S_OK; ++i) {
    put = writer.Put(MakeFrame(kFaultFeed, i));
    std::this_thread::sleep_for(pause);
  }
  EXPECT_EQ(writer.Stop(), fault.status) << writer.LastError();
  EXPECT_TRUE(put == S_OK || put == fault.status);
  EXPECT_THAT(writer.LastError(), testing::HasSubstr(fault.told));
  const ProbedStream video = Probe(folder / "a.mp4").Pictures();
  EXPECT_GE(video.frames, fault.least);
  EXPECT_EQ(video.errors, 0);
  for (std::size_t i = 0; i + 3 < video.lumaMeans.size(); ++i) {
    EXPECT_NEAR(video.lumaMeans[i], 40.0 + 5.0 * static_cast<double>(i % 32), 2) << i;
  }
}

// The first frame is refused with the words of the call that failed, and nothing is left behind.
inline void ExpectRefused(HRESULT put, const std::string& told, const std::string& words,
                          const std::string& file) {
  EXPECT_TRUE(put == E_FAIL || put == XV_E_VENDOR_LIBRARY) << std::hex << put;
  EXPECT_FALSE(std::filesystem::exists(file));
  const std::size_t fail = words.find("fail=");
  if (fail == words.npos) return;
  const std::string call = words.substr(fail + 5, words.find(':') - fail - 5);
  EXPECT_THAT(told, testing::AnyOf(testing::HasSubstr(call), testing::HasSubstr("no adapter")));
}

// Records up to `pictures`. What was taken is in the file, but for `lost` that the fault may cost.
inline void ExpectWhole(const std::string& words, const std::string& attributes, int pictures,
                        const std::function<int(HRESULT put)>& lost) {
  SCOPED_TRACE(words);
  vendor::Reset();
  vendor::Configure(words);
  const TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mp4", attributes), S_OK);
  int taken = 0;
  HRESULT put = S_OK;
  while (taken < pictures && (put = writer.Put(MakeFrame(kFaultFeed, taken))) == S_OK) ++taken;
  const HRESULT stopped = writer.Stop();
  EXPECT_TRUE(put == S_OK || stopped == put);
  EXPECT_EQ(stopped == S_OK, writer.LastError().empty());
  if (taken == 0) ExpectRefused(put, writer.LastError(), words, folder / "a.mp4");
  EXPECT_THAT(vendor::BrokenRules(), testing::IsEmpty());
  EXPECT_THAT(vendor::Held(), testing::IsEmpty());
  const int least = taken - (stopped == S_OK ? 0 : lost(put));
  if (least <= 0 || testing::Test::HasFailure()) return;
  const ProbedStream video = Probe(folder / "a.mp4").Pictures();
  EXPECT_EQ(video.errors, 0);
  EXPECT_GE(video.frames, least);
}

// Calls `sweep` with the name and the "NAME:N" of each call that the recording before has made, the
// first `most` of a name.
inline void ForEachCall(int most,
                        const std::function<void(const std::string&, const std::string&)>& sweep) {
  std::map<std::string, int> numbers;
  for (const vendor::Call& call : vendor::Calls()) {
    const int number = ++numbers[call.name];
    if (testing::Test::HasFailure()) return;
    if (number <= most) sweep(call.name, call.name + ":" + std::to_string(number));
  }
}

}  // namespace xv::test
