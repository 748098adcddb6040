#include "values/value_syntax.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "values/time_syntax.h"
#include "values/words.h"
#include "values/xml_value.h"

namespace xv {
namespace {

using ::testing::ElementsAre;

constexpr auto kMost32 = std::numeric_limits<std::int32_t>::max();
constexpr auto kMost64 = std::numeric_limits<std::int64_t>::max();
constexpr auto kLeast64 = std::numeric_limits<std::int64_t>::min();

template <class T>
struct Case {
  const char* text;
  T value;
};

// What `read` makes of each text.
template <class T, class Read>
void ExpectRead(Read&& read, std::initializer_list<Case<T>> cases) {
  for (const Case<T>& one : cases) EXPECT_EQ(read(one.text), one.value) << one.text;
}

TEST(ValueSyntax, TheTwoBooleanReadersDifferOnPurpose) {
  const auto expect = [](bool boolean, int triState, std::initializer_list<const char*> texts) {
    for (const char* text : texts) {
      EXPECT_TRUE(ReadBool(text) == boolean && ReadTriState(text) == triState) << text;
    }
  };
  expect(false, 0, {"0", "FALSE", "no", "Off"});
  expect(true, 1, {"1", "True", "YES", "on"});
  expect(true, -1, {"only", "Y", "2", "0x10", "3 apples"});
  expect(false, -1, {"", "00", "-1", "maybe", "-0"});
}

TEST(ValueSyntax, IntegersTakeTheirBaseFromTheText) {
  ExpectRead<std::int32_t>(ReadInt, {{"010", 8},
                                     {"0x10", 16},
                                     {"-0x10", -16},
                                     {" +25 frames", 25},
                                     {"0x", 0},
                                     {"09", 0},
                                     {"08", 0},
                                     {"TRUE", 1},
                                     {"yes", 0},
                                     {"99999999999", kMost32}});
  ExpectRead<std::int64_t>(ReadInt64,
                           {{"-9223372036854775808", kLeast64}, {"99999999999999999999", kMost64}});
  ExpectRead<std::uint64_t>(ReadHex64, {{"0xFFFFFFFFFFFFFFFE", ~std::uint64_t{1}}, {"true", 1}});
}

TEST(ValueSyntax, DoublesReadPercentAndRenderWithOneDigitBehindThePoint) {
  ExpectRead<double>(ReadDouble, {{"50%", 0.5},
                                  {"-2.5e2x", -250},
                                  {"true", 1},
                                  {".5", 0.5},
                                  {"nan", 0},
                                  {"inf", 0},
                                  {"1,5", 1}});
  EXPECT_TRUE(std::isfinite(ReadDouble("1e999")));
  EXPECT_EQ(RenderDouble(3) + RenderDouble(0.25) + RenderDouble(100), "3.00.25100.0");
}

TEST(ValueSyntax, RatesCountWholeThousands) {
  ExpectRead<std::int64_t>(ReadRate, {{"5M", 5'000'000},
                                      {"16k", 16'000},
                                      {"1.5G", 1},
                                      {"7", 7},
                                      {"2T", 2'000'000'000'000},
                                      {"5 M", 5},
                                      {"0x10k", 16'000},
                                      {"", 0},
                                      {"99999999999T", kMost64},
                                      {"-99999999999T", kLeast64}});
}

TEST(ValueSyntax, PairsStartAtTheFirstDigit) {
  const auto read = [](const char* text) {
    std::int32_t a = -1, b = -2;
    const bool found = ReadPair(text, &a, &b);
    return std::tuple(found, a, b);
  };
  ExpectRead<std::tuple<bool, int, int>>(read, {{"1920x1080", {true, 1920, 1080}},
                                                {"16:9", {true, 16, 9}},
                                                {"size 720*576i", {true, 720, 576}},
                                                {"25", {true, 25, -2}},
                                                {"25/", {true, 25, 0}},
                                                {"auto", {false, -1, -2}},
                                                {"", {false, -1, -2}}});
}

TEST(ValueSyntax, ListsSplitAtEverySeparator) {
  EXPECT_THAT(ReadList(" a, b;c|d\te\r\n,,f "), ElementsAre("a", "b", "c", "d", "e", "f"));
  EXPECT_THAT(ReadList(" ,;|"), ElementsAre());
  EXPECT_EQ(WordIndex("Letter-Box", words::kScaleType), 2);
  EXPECT_EQ(WordIndex("nothing", words::kScaleType, 7), 7);
}

TEST(TimeSyntax, TimeCodesLieWithinADay) {
  for (const char* text : {"00:00:00:00", "23:59:59:59", "1:2:3;04", "10:00:00.02"}) {
    EXPECT_TRUE(IsTimeCode(text)) << text;
  }
  for (const char* text : {"", "24:00:00:00", "00:60:00:00", "00:00:60:00", "00:00:00:60", "1:2:3",
                           "1:2;3:4", "1:2:3:4:5", "012:0:0:0", "1:2:3:", "a:b:c:d"}) {
    EXPECT_FALSE(IsTimeCode(text)) << text;
  }
}

TEST(XmlValue, NumbersStayExactBehindTheirRoundedText) {
  using XMLParse::XMLValue;
  const XMLValue number = XMLValue::OfNumber(0.123456789);
  EXPECT_EQ(number.Read<double>(), 0.123456789);
  EXPECT_EQ(number.Text(), "0.123457");
  EXPECT_EQ(XMLValue("010").Read<std::int32_t>(), 8);
}

}  // namespace
}  // namespace xv
