#include "tree/node.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "tree/node_path.h"

namespace xv::XMLParse {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

XMLNodePtr Parse(std::string_view xml) {
  XMLNodePtr node = CoXMLNode::Create("empty");
  EXPECT_TRUE(node->ReadXml(xml).Ok());
  return node;
}

TEST(NodePath, IndexAddressesAmongChildrenOfThatName) {
  const XMLNodePtr a = Parse("<a><b><c n=1/></b><x/><B><c n=2/></B></a>");
  EXPECT_EQ(a->Text("b::c::n"), "1");
  EXPECT_EQ(a->Text("b[1]::c::n"), "2");
  EXPECT_EQ(a->Text("B[0x1]junk::C::N"), "2");
  EXPECT_FALSE(a->FindText("b[2]::c::n"));
  EXPECT_FALSE(a->FindChild("b[-1]"));
  EXPECT_EQ(ParseSegment("[1]").name, "[1]");
  EXPECT_FALSE(a->FindChild("b::::c")) << "an empty segment names nothing";
  EXPECT_FALSE(a->FindChild(""));
}

TEST(Node, WritersMakeTheNodesOfAPath) {
  const XMLNodePtr node = CoXMLNode::Create("n");
  EXPECT_EQ(node->SetTextOfExisting("video::codec", "x").code(), E_INVALIDARG);
  EXPECT_TRUE(node->SetText("video::codec", "libx264").Ok());
  EXPECT_EQ(node->WriteXml(), "<n><video codec='libx264'/></n>");
  EXPECT_TRUE(node->SetTextOfExisting("video::b", "5M").Ok());
  EXPECT_EQ(node->Text("VIDEO::B"), "5M");
  EXPECT_TRUE(node->Has("video") && node->Has("video::codec"));
  EXPECT_FALSE(node->Has("audio") || node->Has("video::g"));
  EXPECT_TRUE(node->SetText("c[3]::x", "1").Ok());
  EXPECT_EQ(node->ChildCount(), 2u) << "an index past the end appends one node";
  EXPECT_EQ(node->SetText("a::", "1").code(), E_INVALIDARG);
  EXPECT_EQ(node->SetText("", "1").code(), E_INVALIDARG);
  EXPECT_FALSE(node->SetTextIfAbsent("::a", "1"));
}

TEST(Node, TypedReadersTakeDefaultsForWhatIsAbsent) {
  const XMLNodePtr node = Parse("<n i=7 h=0xFF d=50% t=only e=''/>");
  bool found = true;
  EXPECT_EQ(node->Int("none", 42, &found), 42);
  EXPECT_FALSE(found);
  EXPECT_EQ(node->Int("i", 42, &found), 7);
  EXPECT_TRUE(found);
  EXPECT_EQ(node->Hex("h", 0), 255u);
  EXPECT_EQ(node->Double("d", 0), 0.5);
  EXPECT_TRUE(node->Bool("t"));
  EXPECT_FALSE(node->Bool("e", true)) << "an empty text is there";
  EXPECT_EQ(node->Text("i"), "7") << "reading as a type keeps the text";
}

TEST(Node, AttributesKeepTheirPlaceAndManyAreFound) {
  const XMLNodePtr node = CoXMLNode::Create("n");
  for (int i = 0; i < 500; ++i) {
    ASSERT_TRUE(node->SetInteger("Key" + std::to_string(i), i).Ok());
  }
  ASSERT_TRUE(node->SetText("KEY17", "changed").Ok());
  EXPECT_EQ(node->AttributeCount(), 500u);
  EXPECT_THAT(node->Attributes()[17], Pair("Key17", "changed"));
  EXPECT_TRUE(node->RemoveAttribute("key0").Ok());
  EXPECT_EQ(node->RemoveAttribute("key0").code(), XV_E_NOT_FOUND);
  EXPECT_EQ(node->Int("kEY499", -1), 499);
  EXPECT_EQ(node->Attributes()[0].first, "Key1");
}

TEST(AttributeText, ScansNamesQuotesAndOpenQuotes) {
  const XMLNodePtr node = CoXMLNode::Create("n");
  TextFaults faults;
  node->MergeText(
      "\xEF\xBF\xAE a=1 flag b = 'two words'c=\"it's\"\xEF\xB7\x90 v::b=5M = lost x::::y=1 "
      "q='rest of it",
      MergeMode::kReplace, true, &faults);
  EXPECT_THAT(node->Attributes(),
              ElementsAre(Pair("a", "1"), Pair("flag", ""), Pair("b", "two words"),
                          Pair("c", "it's"), Pair("q", "rest of it")));
  EXPECT_EQ(node->Text("v::b"), "5M");
  EXPECT_EQ(faults.openQuote, "q");
  EXPECT_THAT(faults.badPaths, ElementsAre("x::::y"));
  node->MergeText("x=&lt;", MergeMode::kReplace);
  EXPECT_EQ(node->Text("x"), "&lt;") << "attributes have no entities";
}

TEST(AttributeText, ModesAddReplaceOrClear) {
  const XMLNodePtr node = CoXMLNode::Create("n");
  node->MergeText("a=1 b=2", MergeMode::kReplace);
  node->MergeText("a=9 c=3", MergeMode::kAddAbsent);
  EXPECT_EQ(node->AttributeText(), " a='1' b='2' c='3'");
  node->MergeText("a=9", MergeMode::kReplace);
  EXPECT_EQ(node->AttributeText(), " a='9' b='2' c='3'");
  node->MergeText("z=0", MergeMode::kClearFirst);
  EXPECT_EQ(node->AttributeText(), " z='0'");
}

TEST(AttributeText, WritesWhatItsOptionsSay) {
  const XMLNodePtr node = Parse("<n a=1 b=\"it's\" c='x\"y'>v</n>");
  EXPECT_EQ(node->AttributeText(), " n='v' a='1' b=\"it's\" c='x\"y'");
  ASSERT_TRUE(node->SetText("c", "it's \"so\"").Ok());
  static constexpr const char* kLeaveOut[] = {"A", "n", nullptr};
  AttributeTextOptions options;
  options.leaveOut = kLeaveOut;
  options.prefix = "p.";
  options.separator = ", ";
  options.withValue = true;
  EXPECT_EQ(node->AttributeText(options), " p.b=\"it's\", p.c=\"it's 'so'\", p._node_value='v'");
  static constexpr const char* kSelect[] = {"c", "none", "a"};
  AttributeTextOptions selected;
  selected.select = kSelect;
  node->SetValue({});
  EXPECT_EQ(node->AttributeText(selected), " c=\"it's 'so'\" a='1'");
  EXPECT_EQ(node->AttributeText(std::span<const char* const>(kLeaveOut)),
            " b=\"it's\" c=\"it's 'so'\"");
}

TEST(Node, MovesAndRemovesChildren) {
  const XMLNodePtr a = Parse("<a><b n=1/><c/><b n=2/></a>");
  const XMLNodePtr b = a->FindChild("b");
  EXPECT_EQ(b->IndexInParent(), 0);
  EXPECT_TRUE(b->MoveToEnd().Ok());
  EXPECT_EQ(b->IndexInParent(), 2);
  EXPECT_EQ(a->WriteXml(), "<a><c/><b n='2'/><b n='1'/></a>");
  EXPECT_TRUE(a->RemoveChildNode("b[1]").Ok());
  EXPECT_FALSE(b->Parent());
  EXPECT_EQ(b->MoveToEnd().code(), XV_E_NOT_FOUND);
  EXPECT_EQ(b->Text("n"), "1") << "a removed node lives on";
  EXPECT_EQ(a->RemoveChildNode("b[1]").code(), XV_E_NOT_FOUND);
  EXPECT_TRUE(a->FindChild("c")->AttachChild(b).Ok());
  EXPECT_EQ(a->FindChild("c")->AttachChild(a).code(), E_INVALIDARG) << "no node inside itself";
  EXPECT_EQ(a->Text("c::b::n"), "1");
  const XMLNodePtr c = a->FindChild("c");
  a->Clear();
  EXPECT_FALSE(c->Parent());
}

TEST(Node, ChildOutlivesItsParent) {
  XMLNodePtr parent = Parse("<a><b><c/></b></a>");
  const XMLNodePtr c = parent->FindChild("b::c");
  EXPECT_EQ(c->Parent()->Name(), "b");
  parent = nullptr;
  EXPECT_FALSE(c->Parent());
}

TEST(NodeCopy, MergesChildrenByNameAndNumber) {
  const XMLNodePtr from = Parse("<a x=1 y=1>new<b n=1/><b m=2/><c/></a>");
  const std::string text = from->WriteXml();
  XMLNodePtr to = Parse("<t x=0>old<b n=0/></t>");
  to->CopyFrom(*from, MergeMode::kAddAbsent, true);
  EXPECT_EQ(to->WriteXml(), "<t x='0' y='1'>old<b n='0'/><b m='2'/><c/></t>");
  to->CopyFrom(*from, MergeMode::kReplace, true);
  EXPECT_EQ(to->WriteXml(), "<t x='1' y='1'>new<b n='1'/><b m='2'/><c/></t>");
  to = Parse("<t z=0><d/></t>");
  to->CopyFrom(*from, MergeMode::kClearFirst, false);
  EXPECT_EQ(to->WriteXml(), "<t x='1' y='1'>new<d/></t>");
  to->CopyFrom(*from, MergeMode::kClearFirst, true);
  EXPECT_EQ(to->WriteXml(), "<t x='1' y='1'>new<b n='1'/><b m='2'/><c/></t>");
  EXPECT_EQ(from->WriteXml(), text);
  EXPECT_EQ(to->FindChild("c")->Parent(), to);
}

TEST(NodeCopy, IntoADescendantEnds) {
  const XMLNodePtr a = Parse("<a x=1><b/></a>");
  a->FindChild("b")->CopyFrom(*a, MergeMode::kReplace, true);
  EXPECT_EQ(a->WriteXml(), "<a x='1'><b x='1'><b/></b></a>");
  a->CopyFrom(*a, MergeMode::kClearFirst, true);
  EXPECT_EQ(a->WriteXml(), "<a x='1'><b x='1'><b/></b></a>");
}

TEST(NodeCopy, CloneHasItsOwnRoot) {
  const XMLNodePtr a = Parse("<a><b n=1/></a>");
  XMLNodePtr clone = a->FindChild("b")->DeepClone();
  EXPECT_EQ(clone->Name(), "b");
  XMLNodePtr root = clone->Parent();
  EXPECT_EQ(root->Name(), "clone");
  EXPECT_EQ(clone->IndexInParent(), 0);
  EXPECT_EQ(root->WriteXml(), "<clone><b n='1'/></clone>");
  ASSERT_TRUE(clone->SetText("n", "2").Ok());
  EXPECT_EQ(a->Text("b::n"), "1");
  clone = nullptr;
  EXPECT_EQ(root->Text("b::n"), "2") << "the root keeps the clone";
  clone = root->FindChild("b");
  root = nullptr;
  EXPECT_EQ(clone->Parent()->Name(), "clone");
}

TEST(Schema, LookupClimbsUntilInheritIsFalse) {
  const XMLNodePtr root = Parse(
      "<list><attributes_info><b type=int default=5M>Bit rate</b><g default=12/></attributes_info>"
      "<f><attributes_info><b default=1M/></attributes_info><codec b=2M/></f>"
      "<shut><attributes_info inherit=false><x/></attributes_info><codec/></shut></list>");
  const XMLNodePtr codec = root->FindChild("f::codec");
  EXPECT_EQ(codec->FindInfo("b")->Text("default"), "1M");
  EXPECT_EQ(codec->FindInfo("G")->Text("default"), "12");
  EXPECT_EQ(root->FindInfo("f::codec::g")->Text("default"), "12");
  EXPECT_EQ(root->InfoValue("b", "").value_or("?"), "Bit rate");
  EXPECT_FALSE(root->FindChild("shut::codec")->FindInfo("b"));
  EXPECT_TRUE(root->FindChild("shut::codec")->FindInfo("x"));
  EXPECT_FALSE(root->FindInfo("none::b"));
}

TEST(Schema, SelectFromPrefersTheEntrysOwnChild) {
  const XMLNodePtr root = Parse(
      "<n><attributes_info>"
      "<cmp select_from=unit values='direct'><unit values='own, child'/></cmp>"
      "<sub select_from=unit/><unit values='shared'/>"
      "<lost select_from=nowhere values='kept'/><self select_from=self values='mine'/>"
      "</attributes_info></n>");
  EXPECT_EQ(root->InfoValues("cmp"), "own, child");
  EXPECT_EQ(root->InfoValues("sub"), "shared");
  EXPECT_EQ(root->InfoValues("lost"), "kept");
  EXPECT_EQ(root->InfoValues("self"), "mine");
  EXPECT_EQ(root->InfoValues("none"), std::nullopt);
}

TEST(NodeThreads, ReadersWritersAndParentsMayMix) {
  const XMLNodePtr root = Parse("<a><b n=0/></a>");
  constexpr int kRounds = 2000;
  std::vector<std::thread> threads;
  threads.emplace_back([&] {
    for (int i = 0; i < kRounds; ++i) {
      (void)root->SetInteger("b::n", i);
      (void)root->SetText("c::x", "1");
    }
  });
  threads.emplace_back([&] {
    for (int i = 0; i < kRounds; ++i) {
      (void)root->RemoveChildNode("c");
      if (const XMLNodePtr b = root->FindChild("b")) b->Rename(i % 2 == 0 ? "B" : "b");
    }
  });
  threads.emplace_back([&] {
    for (int i = 0; i < kRounds; ++i) {
      if (const XMLNodePtr c = root->FindChild("c")) (void)c->Parent();
      (void)root->Int("b::n", 0);
      (void)root->WriteXml();
    }
  });
  threads.emplace_back([&] {
    for (int i = 0; i < kRounds; ++i) root->CopyFrom(*root->DeepCopy(), MergeMode::kReplace, true);
  });
  for (std::thread& thread : threads) thread.join();
  EXPECT_GE(root->Int("b::n", -1), 0);
}

}  // namespace
}  // namespace xv::XMLParse
