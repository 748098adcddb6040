#include "tree/attribute.h"

#include <gmock/gmock.h>

#include "tree/node.h"

namespace xv {
namespace {

using XMLParse::CoXMLNode;
using XMLParse::MergeMode;
using XMLParse::XMLNodePtr;

enum class Side { kLeft, kRight };
constexpr const char* kSides[] = {"left", "right", nullptr};
bool IsEven(std::string_view text) { return ReadInt(text) % 2 == 0; }

constexpr Attribute<bool> kFlag{"flag", kSessionNode, true, {}, ""};
constexpr Attribute<std::int32_t> kCount{"count", kVideoNode, 24, AtLeast(0), ""};
constexpr Attribute<double> kSeconds{"seconds", kSessionNode, 0.5, Between(0, 10), ""};
constexpr Attribute<Rate> kSpace{"space", kSessionNode, "300M", AtLeast(1000), ""};
constexpr Attribute<TriState> kMaybe{"maybe", kSessionNode, -1, {}, ""};
constexpr Attribute<Side> kSide{"side", kSessionNode, Side::kRight, OneOf(kSides), ""};
constexpr Attribute<std::string> kPair{"pair", kSessionNode, {}, Expect("even", IsEven), ""};
constexpr Attribute<FilePath> kDump{"dump.N", kSessionNode, {}, FromTrack(1), ""};
constexpr AttributeRow kRows[] = {kFlag, kCount, kDump};

XMLNodePtr Holding(std::string_view text) {
  XMLNodePtr node = CoXMLNode::Create("n");
  node->MergeText(text, MergeMode::kReplace);
  return node;
}

TEST(Attribute, AbsentOnesReadAsTheirDefaults) {
  const XMLNodePtr node = Holding("");
  EXPECT_TRUE(node->Get(kFlag) && node->Get(kCount) == 24 && node->Get(kSeconds) == 0.5);
  EXPECT_TRUE(node->Get(kSpace) == 300'000'000 && node->Get(kMaybe) == -1);
  EXPECT_TRUE(node->Get(kSide) == Side::kRight && node->Get(kPair).empty());
  EXPECT_FALSE(node->Find(kFlag) || node->Find(kDump, 2));
  EXPECT_EQ(DefaultText(kSide) + DefaultText(kMaybe) + DefaultText(kSeconds), "rightauto0.5");
}

TEST(Attribute, TextsReadAsFarAsTheyCan) {
  const XMLNodePtr node =
      Holding("FLAG=off count=7x seconds=50% space=16K maybe=no side=LEFT dump.2=/a");
  EXPECT_FALSE(node->Get(kFlag));
  EXPECT_EQ(node->Get(kCount), 7);
  EXPECT_EQ(node->Get(kSpace), 16'000);
  EXPECT_EQ(node->Get(kMaybe), 0);
  EXPECT_EQ(node->Get(kSide), Side::kLeft);
  EXPECT_EQ(node->Find(kDump, 2), "/a");
  EXPECT_EQ(Holding("side=up")->Get(kSide), Side::kRight) << "no word of the list";
}

TEST(Attribute, ValuesThatWereMeantForTheReader) {
  struct Case {
    const AttributeRow& row;
    std::vector<const char*> good;
    std::vector<const char*> bad;
  };
  const Case cases[] = {
      {kFlag, {"true", "NO", "1", "only"}, {"", "maybe", "1x"}},
      {kCount, {"0", "0x10", "7"}, {"", "-1", "7x", "true", "1.5"}},
      {kSeconds, {"0", "9.5", "50%"}, {"", "11", "5s", "nan"}},
      {kSpace, {"1000", "5m", "2T"}, {"", "999", "1.5M", "5MB", "M"}},
      {kMaybe, {"auto", "on", "0"}, {"7", "x"}},
      {kSide, {"", "Left"}, {"up", "l"}},
      {kPair, {"4"}, {"3"}},
      {kDump, {"", "/any thing"}, {}},
  };
  for (const Case& one : cases) {
    for (const char* text : one.good) EXPECT_TRUE(IsValidValue(one.row, text)) << text;
    for (const char* text : one.bad) {
      EXPECT_FALSE(IsValidValue(one.row, text)) << one.row.name << "=" << text;
    }
  }
  EXPECT_EQ(ExpectedValues(kSide), "left, right");
  EXPECT_EQ(ExpectedValues(kCount) + "; " + ExpectedValues(kSeconds), "0 and more; 0 to 10");
  EXPECT_EQ(ExpectedValues(kPair), "even");
}

TEST(Attribute, RowsAreFoundByNameAndTrack) {
  EXPECT_EQ(FindRow(kRows, "COUNT"), &kRows[1]);
  for (const char* name : {"Dump.12", "dump.1"}) EXPECT_EQ(FindRow(kRows, name), &kRows[2]);
  for (const char* name : {"dump.0", "dump.", "dump.N", "dump", "dump.1x", "cou"}) {
    EXPECT_EQ(FindRow(kRows, name), nullptr) << name;
  }
  EXPECT_EQ(PathOf(kCount), "video::count");
}

}  // namespace
}  // namespace xv
