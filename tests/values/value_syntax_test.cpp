#include "values/value_syntax.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "values/color_syntax.h"
#include "values/words.h"
#include "values/xml_value.h"

namespace xv {
namespace {

using ::testing::ElementsAre;

TEST(ValueSyntax, TheTwoBooleanReadersDifferOnPurpose) {
  struct Case {
    const char* text;
    bool plain;
    int triState;
  };
  const Case cases[] = {{"", false, -1},      {"0", false, 0},       {"FALSE", false, 0},
                        {"no", false, 0},     {"Off", false, 0},     {"00", false, -1},
                        {"1", true, 1},       {"True", true, 1},     {"YES", true, 1},
                        {"on", true, 1},      {"only", true, -1},    {"Y", true, -1},
                        {"2", true, -1},      {"-1", false, -1},     {"0x10", true, -1},
                        {"maybe", false, -1}, {"3 apples", true, -1}};
  for (const Case& one : cases) {
    EXPECT_EQ(ReadBool(one.text), one.plain) << one.text;
    EXPECT_EQ(ReadTriState(one.text), one.triState) << one.text;
  }
}

TEST(ValueSyntax, IntegersTakeTheirBaseFromTheText) {
  EXPECT_EQ(ReadInt("010"), 8);
  EXPECT_EQ(ReadInt("0x10"), 16);
  EXPECT_EQ(ReadInt("-0x10"), -16);
  EXPECT_EQ(ReadInt(" +25 frames"), 25);
  EXPECT_EQ(ReadInt("0x"), 0);
  EXPECT_EQ(ReadInt("09"), 0);
  EXPECT_EQ(ReadInt("TRUE"), 1);
  EXPECT_EQ(ReadInt("yes"), 0);
  EXPECT_EQ(ReadInt("99999999999"), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(ReadInt64("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(ReadInt64("99999999999999999999"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(ReadHex("0xFFFFFFFF"), 0xFFFFFFFFu);
  EXPECT_EQ(ReadHex64("0xFFFFFFFFFFFFFFFE"), 0xFFFFFFFFFFFFFFFEull);
  EXPECT_EQ(ReadHex64("true"), 1u);
}

TEST(ValueSyntax, DoublesReadPercentAndRenderWithOneDigitBehindThePoint) {
  EXPECT_EQ(ReadDouble("50%"), 0.5);
  EXPECT_EQ(ReadDouble("-2.5e2x"), -250.0);
  EXPECT_EQ(ReadDouble("true"), 1.0);
  EXPECT_EQ(ReadDouble(".5"), 0.5);
  EXPECT_EQ(ReadDouble("nan"), 0.0);
  EXPECT_EQ(ReadDouble("inf"), 0.0);
  EXPECT_EQ(ReadDouble("1,5"), 1.0);
  EXPECT_TRUE(std::isfinite(ReadDouble("1e999")));
  EXPECT_EQ(RenderDouble(3), "3.0");
  EXPECT_EQ(RenderDouble(0.25), "0.25");
  EXPECT_EQ(RenderDouble(1.5), "1.5");
  EXPECT_EQ(RenderDouble(100), "100.0");
  EXPECT_EQ(RenderDouble(2.5, 2), "2.50");
  EXPECT_EQ(RenderDouble(2.5, 4), "2.5");
  EXPECT_EQ(RenderDouble(2.4, 0), "2");
}

TEST(ValueSyntax, RatesCountWholeThousands) {
  EXPECT_EQ(ReadRate("5M"), 5'000'000);
  EXPECT_EQ(ReadRate("16k"), 16'000);
  EXPECT_EQ(ReadRate("1.5G"), 1);
  EXPECT_EQ(ReadRate("7"), 7);
  EXPECT_EQ(ReadRate("2T"), 2'000'000'000'000);
  EXPECT_EQ(ReadRate("5 M"), 5);
  EXPECT_EQ(ReadRate("0x10k"), 16'000);
  EXPECT_EQ(ReadRate(""), 0);
  EXPECT_EQ(ReadRate("99999999999T"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(ReadRate("-99999999999T"), std::numeric_limits<std::int64_t>::min());
}

TEST(ValueSyntax, PairsStartAtTheFirstDigit) {
  const auto read = [](const char* text) {
    std::int32_t a = -1;
    std::int32_t b = -2;
    const bool found = ReadPair(text, &a, &b);
    return std::tuple(found, a, b);
  };
  EXPECT_EQ(read("1920x1080"), std::tuple(true, 1920, 1080));
  EXPECT_EQ(read("16:9"), std::tuple(true, 16, 9));
  EXPECT_EQ(read("size 720*576i"), std::tuple(true, 720, 576));
  EXPECT_EQ(read("25"), std::tuple(true, 25, -2));
  EXPECT_EQ(read("25/"), std::tuple(true, 25, 0));
  EXPECT_EQ(read("auto"), std::tuple(false, -1, -2));
  EXPECT_EQ(read(""), std::tuple(false, -1, -2));
}

TEST(ValueSyntax, SizesKeepTheirUnit) {
  EXPECT_EQ(ReadSize("50%").number, 50);
  EXPECT_EQ(ReadSize("50%").unit, SizeUnit::kPercent);
  for (const char* text : {"12px", "-7pt", "50.000%", "3.25"}) {
    EXPECT_EQ(RenderSize(ReadSize(text)), text);
  }
  EXPECT_EQ(RenderSize({12.5, SizeUnit::kPixels}), "13px");
  EXPECT_EQ(RenderSize({-12.5, SizeUnit::kPixels}), "-13px");
}

TEST(ValueSyntax, FourCcNamesBeatCharacters) {
  EXPECT_EQ(ReadFourCC("rgb24"), 0xE436EB7Du);
  EXPECT_EQ(ReadFourCC("BI_RLE8"), 1u);
  EXPECT_EQ(ReadFourCC("V210"), ReadFourCC("v210"));
  EXPECT_EQ(RenderFourCC(ReadFourCC("uyvy")), "UYVY");
  EXPECT_EQ(ReadFourCC("avc1"), 0x31637661u);
  EXPECT_NE(ReadFourCC("avc1"), ReadFourCC("AVC1"));
  EXPECT_EQ(ReadFourCC("abcde"), 0u);
  EXPECT_EQ(RenderFourCC(1), "BI_RLE8");
  EXPECT_EQ(RenderFourCC(0x12345678), "0x12345678");
  EXPECT_EQ(RenderFourCC(0xE436EB7B), "RGB565");
  EXPECT_EQ(RenderFourCC(0x20363520), " 56 ");
}

TEST(ValueSyntax, GuidNeedsAllItsBytes) {
  const char* text = "{12345678-9ABC-DEF0-0123-456789ABCDEF}";
  const Guid guid = ReadGuid(text);
  EXPECT_EQ(guid.data1, 0x12345678u);
  EXPECT_EQ(guid.data4[7], 0xEF);
  EXPECT_EQ(RenderGuid(guid), text);
  EXPECT_EQ(ReadGuid("12345678 9abcdef0 01234567 89abcdef"), guid);
  EXPECT_EQ(ReadGuid("{12345678-9ABC-DEF0-0123-456789ABCD}"), Guid{});
}

TEST(ValueSyntax, ListsSplitAtEverySeparator) {
  EXPECT_THAT(ReadList(" a, b;c|d\te\r\n,,f "), ElementsAre("a", "b", "c", "d", "e", "f"));
  EXPECT_THAT(ReadList(" ,;|"), ElementsAre());
  EXPECT_EQ(WordIndex("Letter-Box", words::kScaleType), 2);
  EXPECT_EQ(WordIndex("nothing", words::kScaleType), -1);
  EXPECT_EQ(WordIndex("nothing", words::kScaleType, 7), 7);
}

TEST(ColorSyntax, ReadsNamesAlphaAndDigits) {
  constexpr std::uint32_t kDefault = 0x40302010;
  const auto read = [](const char* text) { return ReadColor(text, kDefault); };
  EXPECT_EQ(read("Red"), 0xFF0000FFu);
  EXPECT_EQ(read("red(128)"), 0x800000FFu);
  EXPECT_EQ(read("Red(0.5)"), 0x000000FFu) << "the text ends at the point";
  EXPECT_EQ(read("Red(300)"), 0xFF0000FFu);
  EXPECT_EQ(read("(64)"), 0x40302010u);
  EXPECT_EQ(read("(65)"), 0x41302010u);
  EXPECT_EQ(read("Default"), kDefault);
  EXPECT_EQ(read("default(255)"), 0xFF302010u);
  EXPECT_EQ(read("Transparent(200)"), 0u);
  EXPECT_EQ(read("F00"), 0xFF0000FFu);
  EXPECT_EQ(read("FF0000"), 0xFF0000FFu);
  EXPECT_EQ(read("FF0000(128)"), 0x800000FFu);
  EXPECT_EQ(read("80FF0000"), 0x800000FFu) << "eight digits bring their own alpha";
  EXPECT_EQ(read("0xFF8000"), 0xFF0080FFu);
  EXPECT_EQ(read("ff0000"), kDefault) << "lower case needs its 0x";
  EXPECT_EQ(read("#FF0000"), kDefault);
  EXPECT_EQ(read("velarion"), 0xFF8A5406u);
  EXPECT_EQ(read(""), kDefault);
}

TEST(ColorSyntax, RendersOneNamePerColor) {
  EXPECT_EQ(RenderColor(0xFF00FF00), "Lime");
  EXPECT_EQ(RenderColor(0x8000FF00), "Lime(128)");
  EXPECT_EQ(RenderColor(0xFF123456), "#563412");
  EXPECT_EQ(RenderColor(0x40123456), "#563412(64)");
  EXPECT_EQ(RenderColor(0xFFFFFF00), "Aqua");
  EXPECT_EQ(RenderColor(0xFF8A5406), "QZ");
  EXPECT_EQ(RenderColor(0xFFB29000), "QZL");
  EXPECT_EQ(RenderColor(0), "Black(0)");
  for (const char* name : {"Orange", "Navy(7)", "Pink", "Brown(254)"}) {
    EXPECT_EQ(RenderColor(ReadColor(name)), name);
  }
}

std::string TimeOf(const char* text, bool timeOnly = false) {
  CalendarTime time;
  EXPECT_TRUE(ReadTime(text, &time, timeOnly).Ok());
  return RenderTime(time, timeOnly);
}

TEST(TimeSyntax, ReadsGroupsFromTheEnd) {
  EXPECT_EQ(TimeOf("12:34:56"), "12:34:56");
  EXPECT_EQ(TimeOf("12:34"), "12:34:00");
  EXPECT_EQ(TimeOf("90"), "01:30:00");
  EXPECT_EQ(TimeOf("10s"), "00:10:00");
  EXPECT_EQ(TimeOf("5m"), "05:00:00");
  EXPECT_EQ(TimeOf("56.5"), "00:00:56.500");
  EXPECT_EQ(TimeOf("1h30m"), "01:30:00");
  EXPECT_EQ(TimeOf("25:00:00"), "01:00:00");
  EXPECT_EQ(TimeOf("00:00:59.9996"), "00:01:00");
  EXPECT_EQ(TimeOf(""), "00:00:00");
  EXPECT_EQ(TimeOf(std::string(5000, '9').c_str()), "00:00:00");
}

TEST(TimeSyntax, ReadsThreeFormsOfDate) {
  EXPECT_EQ(TimeOf("2017-06-01 10:20:30.5"), "2017-06-01 10:20:30.500");
  EXPECT_EQ(TimeOf("1.6.2017 10:20"), "2017-06-01 10:20:00");
  EXPECT_EQ(TimeOf("1/6/2017 10:20"), "2017-06-01 10:20:00");
  EXPECT_EQ(TimeOf("1.6.2017 10:20", true), "10:20:00");
  EXPECT_EQ(TimeOf("June 1st 10:20"), "10:20:00");
  CalendarTime time;
  EXPECT_EQ(ReadTime(nullptr, &time, false).code(), E_POINTER);
  EXPECT_EQ(ReadTime("1", nullptr, false).code(), E_POINTER);
}

TEST(TimeSyntax, TimeCodesLieWithinADay) {
  for (const char* text : {"00:00:00:00", "23:59:59:59", "1:2:3;04", "10:00:00.02"}) {
    EXPECT_TRUE(IsTimeCode(text)) << text;
  }
  for (const char* text : {"", "24:00:00:00", "00:60:00:00", "00:00:60:00", "00:00:00:60", "1:2:3",
                           "1:2;3:4", "1:2:3:4:5", "123:0:0:0", "1:2:3:", "a:b:c:d"}) {
    EXPECT_FALSE(IsTimeCode(text)) << text;
  }
}

TEST(XmlValue, ReadAsAnotherTypeParsesTheText) {
  using XMLParse::XMLValue;
  XMLValue value("010");
  EXPECT_EQ(value.GetInt(), 8);
  EXPECT_EQ(value.Type(), eXMLValueType::kInt);
  EXPECT_EQ(value.GetText(), "010") << "the text stays what was set";
  EXPECT_EQ(value.GetDouble(), 10.0);
  value.SetDouble(0.123456789);
  EXPECT_EQ(value.GetDouble(), 0.123456789);
  EXPECT_EQ(value.GetText(), "0.123457");
  value.SetHex(255);
  EXPECT_EQ(value.Read<std::int32_t>(), 255);
  EXPECT_EQ(value.Type(), eXMLValueType::kHex) << "Read keeps nothing";
  EXPECT_EQ(value.GetText(), "0x000000FF");
  value.SetBool(true);
  EXPECT_EQ(value.GetText(), "true");
  EXPECT_EQ(value.GetInt(), 1);
}

TEST(XmlValue, EmptyTextIsZeroOfTheTypeAskedFor) {
  XMLParse::XMLValue value;
  EXPECT_EQ(value.GetColor(), 0u);
  EXPECT_EQ(value.Type(), eXMLValueType::kColor);
  value.SetText("");
  EXPECT_EQ(value.GetTime(), CalendarTime{});
  EXPECT_EQ(value.Type(), eXMLValueType::kTime);
}

}  // namespace
}  // namespace xv
