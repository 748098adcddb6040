#include "tree/node.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <random>
#include <thread>

#include "base/text.h"
#include "support/needed.h"
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
  EXPECT_EQ(a->Text("b::c::n") + a->Text("b[1]::c::n") + a->Text("B[0x1]junk::C::N"), "122");
  EXPECT_EQ(ParseSegment("[1]").name, "[1]");
  for (const char* nobody : {"b[2]", "b[-1]", "b::::c", ""}) {
    EXPECT_FALSE(a->FindChild(nobody)) << nobody;
  }
}

TEST(Node, WritersMakeTheNodesOfAPath) {
  const XMLNodePtr node = CoXMLNode::Create("n");
  EXPECT_TRUE(node->SetText("video::codec", "libx264").Ok());
  EXPECT_EQ(node->WriteXml(), "<n><video codec='libx264'/></n>");
  EXPECT_EQ(node->Text("VIDEO::Codec"), "libx264");
  EXPECT_TRUE(node->Has("video") && node->Has("video::codec"));
  EXPECT_FALSE(node->Has("audio") || node->Has("video::g"));
  EXPECT_TRUE(node->SetText("c[3]::x", "1").Ok());
  EXPECT_EQ(node->ChildCount(), 2u) << "an index past the end appends one node";
  for (const char* bad : {"a::", ""}) EXPECT_EQ(node->SetText(bad, "1").code(), E_INVALIDARG);
  EXPECT_FALSE(node->SetTextIfAbsent("::a", "1"));
}

TEST(Node, AttributesKeepTheirPlaceAndManyAreFound) {
  const XMLNodePtr node = CoXMLNode::Create("n");
  std::vector<std::pair<std::string, std::string>> expected;
  std::mt19937 random(1);
  for (int i = 0; i < 4000; ++i) {
    const std::string name = "Key" + std::to_string(random() % 300);
    const auto at = std::find_if(expected.begin(), expected.end(),
                                 [&](const auto& one) { return one.first == name; });
    if (random() % 3 == 0) {
      const Status removed = node->RemoveAttribute(ToLower(name));
      EXPECT_EQ(removed.Ok(), at != expected.end()) << name;
      if (at != expected.end()) expected.erase(at);
      continue;
    }
    node->SetAttribute(at == expected.end() ? name : ToLower(name), std::to_string(i));
    if (at == expected.end()) {
      expected.emplace_back(name, std::to_string(i));
    } else {
      at->second = std::to_string(i);
    }
  }
  ASSERT_EQ(node->AttributeCount(), expected.size());
  EXPECT_EQ(node->Attributes(), expected);
  for (std::size_t i = 0; i <= expected.size(); ++i) {
    EXPECT_EQ(node->AttributeAt(i).has_value(), i < expected.size());
    EXPECT_EQ(node->AttributeAt(i).value_or(expected[0]), expected[i % expected.size()]) << i;
  }
  EXPECT_EQ(node->Text("kEY7"), node->DeepCopy()->Text("Key7"));
}

// Names that stand once and names that stand often, renamed, moved and removed.
TEST(Node, ManyChildrenAreFoundByNameAndNumber) {
  const XMLNodePtr node = CoXMLNode::Create("n");
  std::vector<XMLNodePtr> expected;
  std::mt19937 random(2);
  const auto someName = [&] {
    const unsigned number = random() % 400;
    return number < 100 ? std::string("Often") : "c" + std::to_string(number);
  };
  for (int i = 0; i < 3000; ++i) {
    const unsigned what = expected.size() < 100 ? 0 : random() % 5;
    if (what < 2) {
      expected.push_back(node->AppendChild(someName()));
      continue;
    }
    const auto at = expected.begin() + static_cast<std::ptrdiff_t>(random() % expected.size());
    const XMLNodePtr child = *at;
    EXPECT_EQ(child->IndexInParent(), at - expected.begin());
    if (what == 2) {
      child->Rename(someName());
      continue;
    }
    expected.erase(at);
    const Status moved = what == 3 ? node->RemoveChildNode(child.get()) : child->MoveToEnd();
    EXPECT_TRUE(moved.Ok());
    if (what == 4) expected.push_back(child);
  }
  ASSERT_EQ(node->ChildCount(), expected.size());
  EXPECT_EQ(node->Children(), expected);
  std::map<std::string, int> number;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const std::string name = ToLower(expected[i]->Name());
    const std::string path = name + "[" + std::to_string(number[name]++) + "]";
    EXPECT_EQ(node->FindChild(path), expected[i]) << path;
    EXPECT_EQ(node->ChildAt(i), expected[i]);
  }
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
  const auto merged = [&](const char* text, MergeMode mode) {
    node->MergeText(text, mode);
    return node->AttributeText();
  };
  EXPECT_EQ(merged("a=1 b=2", MergeMode::kReplace), " a='1' b='2'");
  EXPECT_EQ(merged("a=9 c=3", MergeMode::kAddAbsent), " a='1' b='2' c='3'");
  EXPECT_EQ(merged("a=9", MergeMode::kReplace), " a='9' b='2' c='3'");
  EXPECT_EQ(merged("z=0", MergeMode::kClearFirst), " z='0'");
}

TEST(AttributeText, QuotesValuesAndLeavesNamesOut) {
  const XMLNodePtr node = Parse("<n a=1 b=\"it's\" c='x\"y'>v</n>");
  EXPECT_EQ(node->AttributeText(), " n='v' a='1' b=\"it's\" c='x\"y'");
  ASSERT_TRUE(node->SetText("c", "it's \"so\"").Ok());
  node->SetValue({});
  static constexpr const char* kLeaveOut[] = {"A", "n", nullptr};
  EXPECT_EQ(node->AttributeText(kLeaveOut), " b=\"it's\" c=\"it's 'so'\"");
}

TEST(Node, MovesAndRemovesChildren) {
  const XMLNodePtr a = Parse("<a><b n=1/><c/><b n=2/></a>");
  const XMLNodePtr b = a->FindChild("b");
  EXPECT_TRUE(b->MoveToEnd().Ok());
  EXPECT_TRUE(a->RemoveChildNode("b[1]").Ok());
  EXPECT_FALSE(b->Parent());
  EXPECT_EQ(b->MoveToEnd().code(), XV_E_NOT_FOUND);
  EXPECT_EQ(b->Text("n"), "1") << "a removed node lives on";
  EXPECT_EQ(a->RemoveChildNode("b[1]").code(), XV_E_NOT_FOUND);
  EXPECT_TRUE(test::Needed(a->FindChild("c")).AttachChild(b).Ok());
  EXPECT_EQ(test::Needed(a->FindChild("c")).AttachChild(a).code(), E_INVALIDARG)
      << "no node inside itself";
  EXPECT_EQ(a->Text("c::b::n"), "1");
  const XMLNodePtr c = a->FindChild("c");
  a->Clear();
  EXPECT_FALSE(c->Parent());
  EXPECT_EQ(test::Needed(c->FindChild("b")).Parent(), c);
  Parse("<z/>")->AttachChild(c).Ok();
  EXPECT_FALSE(c->Parent()) << "a child outlives its parent";
}

TEST(NodeCopy, MergesChildrenByNameAndNumber) {
  const XMLNodePtr from = Parse("<a x=1 y=1>new<b n=1/><b m=2/><c/></a>");
  const std::string text = from->WriteXml();
  XMLNodePtr to;
  const auto copied = [&](MergeMode mode, bool withChildren) {
    to->CopyFrom(*from, mode, withChildren);
    return to->WriteXml();
  };
  to = Parse("<t x=0>old<b n=0/></t>");
  EXPECT_EQ(copied(MergeMode::kAddAbsent, true), "<t x='0' y='1'>old<b n='0'/><b m='2'/><c/></t>");
  const std::string all = "<t x='1' y='1'>new<b n='1'/><b m='2'/><c/></t>";
  EXPECT_EQ(copied(MergeMode::kReplace, true), all);
  to = Parse("<t z=0><d/></t>");
  EXPECT_EQ(copied(MergeMode::kClearFirst, false), "<t x='1' y='1'>new<d/></t>");
  EXPECT_EQ(copied(MergeMode::kClearFirst, true), all);
  EXPECT_EQ(from->WriteXml(), text);
  EXPECT_EQ(test::Needed(to->FindChild("c")).Parent(), to);
}

TEST(NodeCopy, IntoADescendantEnds) {
  const XMLNodePtr a = Parse("<a x=1><b/></a>");
  test::Needed(a->FindChild("b")).CopyFrom(*a, MergeMode::kReplace, true);
  EXPECT_EQ(a->WriteXml(), "<a x='1'><b x='1'><b/></b></a>");
  a->CopyFrom(*a, MergeMode::kClearFirst, true);
  EXPECT_EQ(a->WriteXml(), "<a x='1'><b x='1'><b/></b></a>");
}

TEST(Schema, LookupClimbsUntilInheritIsFalse) {
  const XMLNodePtr root = Parse(
      "<list><attributes_info><b type=int default=5M>Bit rate</b><g default=12/></attributes_info>"
      "<f><attributes_info><b default=1M/></attributes_info><codec b=2M/></f>"
      "<shut><attributes_info inherit=false><x/></attributes_info><codec/></shut></list>");
  const XMLNodePtr codec = root->FindChild("f::codec");
  EXPECT_EQ(test::Needed(codec->FindInfo("b")).Text("default"), "1M");
  EXPECT_EQ(test::Needed(codec->FindInfo("G")).Text("default"), "12");
  EXPECT_EQ(test::Needed(root->FindInfo("f::codec::g")).Text("default"), "12");
  EXPECT_EQ(root->InfoValue("b", "").value_or("?"), "Bit rate");
  EXPECT_FALSE(test::Needed(root->FindChild("shut::codec")).FindInfo("b"));
  EXPECT_TRUE(test::Needed(root->FindChild("shut::codec")).FindInfo("x"));
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
  std::vector<std::thread> threads;
  const auto onAThread = [&](auto work) {
    threads.emplace_back([work] {
      for (int i = 0; i < 2000; ++i) work(i);
    });
  };
  onAThread([&](int i) {
    (void)root->SetInteger("b::n", i);
    (void)root->SetText("c::x", "1");
  });
  onAThread([&](int i) {
    (void)root->RemoveChildNode("c");
    if (const XMLNodePtr b = root->FindChild("b")) b->Rename(i % 2 == 0 ? "B" : "b");
  });
  onAThread([&](int) {
    if (const XMLNodePtr c = root->FindChild("c")) (void)c->Parent();
    (void)root->WriteXml();
  });
  onAThread([&](int) { root->CopyFrom(*root->DeepCopy(), MergeMode::kReplace, true); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_GE(root->Int("b::n", -1), 0);
}

}  // namespace
}  // namespace xv::XMLParse
