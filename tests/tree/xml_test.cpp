#include <gmock/gmock.h>

#include "support/needed.h"
#include "tree/node.h"
#include "tree/xml_text.h"

namespace xv::XMLParse {
namespace {

struct Pair {
  const char* read;
  const char* written;
};

// Whatever people wrote, and what is understood.
constexpr Pair kForgiven[] = {
    {"<a><b></c></a>", "<a><b/></a>"},
    {"<A x=1 y='2 3' z=\"4\"/>", "<a x='1' y='2 3' z='4'/>"},
    {"<a><b><c></a><d/>", "<a><b><c/></b></a>"},  // an ancestor's tag ends all
    {"<a>one<br>two<tab><b/></a>", "<a>two<br/><tab/><b/></a>"},
    {"<a><b></x></x></B><c></a>", "<a><b/><c/></a>"},
    {"junk </z><a/><b/>", "<a/>"},
    {"<a><b x='>' y=\"'\"/></a>", "<a><b x='>' y=\"'\"/></a>"},
    {"<a><b x=1", "<a><b x='1'/></a>"},  // the text's end ends the tag
    {"<a>tail", "<a>tail</a>"},
    {"<a><></a>", "<a/>"},
    {"<a x='open></a>", "<a x='open></a>'/>"},
    // Comments, instructions and declarations.
    {"<?xml version='1'?><!DOCTYPE a><!-- <b> --><a>x<!-- <c/> -->y<?p ?>z</a>", "<a>xyz</a>"},
    {"<a><b/><!-- open <c/></a>", "<a><b/></a>"},
    {"<a>x<!--> y -->z</a>", "<a>xz</a>"},
    {"<a><b/><? open", "<a><b/></a>"},
    // CDATA; where it is open, six characters go.
    {"<a><![CDATA[ x < y &amp; <b/> ]]></a>", "<a> x &lt; y &amp; &lt;b/&gt; </a>"},
    {"<a><![CDATA[text of it</a>", "<a>text of </a>"},
    {"<a><![CDATA[123</a>", "<a>1</a>"},
    {"<a>text &amp; more</a>", "<a>text &amp; more</a>"},
};

XMLNodePtr Parse(std::string_view xml) {
  XMLNodePtr node = CoXMLNode::Create("before");
  EXPECT_TRUE(node->ReadXml(xml).Ok());
  return node;
}

TEST(XmlReader, ForgivesTagsAndSkipsWhatIsNeitherTagNorText) {
  for (const Pair& one : kForgiven) {
    EXPECT_EQ(Parse(one.read)->WriteXml(), one.written) << one.read;
  }
}

TEST(XmlReader, ExpandsEntitiesInValuesOnly) {
  const auto value = [](std::string_view xml, const XmlReadOptions& options = {}) {
    const XMLNodePtr node = CoXMLNode::Create({});
    EXPECT_TRUE(node->ReadXml(xml, options).Ok());
    return node->Value();
  };
  EXPECT_EQ(value("<a>&#65;&#x42;C &lt;&gt;&quot;&apos;&copy;&reg;</a>"), "ABC <>\"'\u00A9\u00AE");
  EXPECT_EQ(value("<a>&amp;lt; R&D &unknown; &#65xyz &#55357;&#56832;</a>"),
            "&lt; RD unknown; Ayz \U0001F600");
  EXPECT_EQ(value("<a>x&#65\u00E9y</a>"), "xAy") << "the skipped character may be a long one";
  EXPECT_EQ(value("<a>&#0;&#;&#xD800;&#99999999999;</a>"), "\uFFFD\uFFFD");
  EXPECT_EQ(value("<a> \r\n one\ttwo\nthree </a>"), "one two three");
  EXPECT_EQ(value("<a> one\ttwo </a>", {true, true}), " one\ttwo ");
  EXPECT_EQ(value("<a>&nbsp;x&nbsp;</a>"), " x ");
}

TEST(XmlReader, ReplacesTheNodeAndFailsForNothingOnly) {
  const XMLNodePtr node = CoXMLNode::Create("old");
  node->MergeText("gone=1", MergeMode::kReplace);
  node->SetValue("gone");
  ASSERT_TRUE(node->ReadXml("<new/>").Ok());
  EXPECT_EQ(node->WriteXml(), "<new/>");
  node->MergeText("gone=1", MergeMode::kReplace);
  EXPECT_EQ(node->ReadXml("").code(), E_INVALIDARG);
  EXPECT_EQ(node->AttributeCount(), 0u);
  EXPECT_TRUE(node->ReadXml("no mark-up").Ok());
}

TEST(XmlWriter, IndentsOrWritesOneLine) {
  const XMLNodePtr node = Parse("<a x=1><b>v</b><c><d/></c></a>");
  EXPECT_EQ(node->WriteXml({0, 0}),
            "<a x='1'>\r\n\t<b>v</b>\r\n\t<c>\r\n\t\t<d/>\r\n\t</c>\r\n</a>\r\n");
  EXPECT_EQ(node->WriteXml({1, 2}).substr(0, 20), "\t<a\r\n\t\t\t\tx='1'>\r\n\t\t<");
  test::Needed(node->FindChild("c")).SetHold(true);
  EXPECT_EQ(node->WriteXml(), "<a x='1'><b>v</b></a>") << "a view is not written";
}

TEST(XmlWriter, WhatIsWrittenIsReadBack) {
  const XMLNodePtr node = CoXMLNode::Create("root");
  ASSERT_TRUE(node->SetText("path", "C:\\a <b> & \u00FC 'q'").Ok());
  node->AppendChild("text")->SetValue("1 < 2 && \"x\" > 'y' \U0001F600");
  for (int level : {-1, 0, 3}) {
    EXPECT_EQ(Parse(node->WriteXml({level, level == 3 ? 2 : 0}))->WriteXml(), node->WriteXml());
  }
  EXPECT_EQ(test::Needed(Parse(node->WriteXml())->FindChild("text")).Value(),
            test::Needed(node->FindChild("text")).Value());
}

TEST(XmlWriter, WellFormedFormIsXmlForAnyReaderAndReadBack) {
  const XMLNodePtr node = CoXMLNode::Create("root");
  node->SetAttribute("2d:x", "a&b <c> 'd' \"e\"\n&lt;");
  node->SetAttribute("_x0030_", " v ");
  node->AppendChild("-1")->SetValue(" &amp; 'x'\tend\r\n");
  node->AppendChild("\u00fc\U0001F600.a-b_")->SetValue("\x01");
  XmlWriteOptions options;
  options.wellFormed = true;
  const std::string written = node->WriteXml(options);
  EXPECT_EQ(written,
            "<?xml version='1.0'?><root _x0032_d_x003A_x='a&amp;b &lt;c&gt; &apos;d&apos; "
            "\"e\"&#10;&amp;lt;' _x005F_x0030_=' v '><_x002D_1>&#32;&amp;amp; "
            "'x'&#9;end&#13;&#10;</_x002D_1><_x00FC__x01F600_.a-b_>\uFFFD</_x00FC__x01F600_.a-b_>"
            "</root>");
  const XMLNodePtr back = Parse(written);
  EXPECT_EQ(back->Attributes(), node->Attributes());
  EXPECT_EQ(test::Needed(back->FindChild("-1")).Value(), " &amp; 'x'\tend\r\n");
  EXPECT_EQ(test::Needed(back->FindChild("\u00fc\U0001F600.a-b_")).Value(), "\uFFFD");
}

TEST(XmlReader, OnlyADeclaredDocumentIsReadAsXml) {
  const auto attribute = [](std::string_view xml) {
    const auto all = Parse(xml)->Attributes();
    return all.empty() ? std::string() : all[0].first + "=" + all[0].second;
  };
  EXPECT_EQ(attribute("<a _x0030_='&lt;&#65;'/>"), "_x0030_=&lt;&#65;");
  EXPECT_EQ(attribute("<?xml version='1.0'?><a _x0030_='&lt;&#65;'/>"), "0=<A");
  EXPECT_EQ(attribute("\xEF\xBB\xBF<?xml version='1.0'?><a _x0030_='1'/>"), "0=1");
  EXPECT_EQ(attribute("<?xmlish?><a _x0030_='1'/>"), "_x0030_=1");
  // As people write it by hand.
  EXPECT_EQ(attribute("<?xml version='1.0'?><a x='R&D &unknown; http://h/?a=1&b=2'/>"),
            "x=R&D &unknown; http://h/?a=1&b=2");
  for (const char* plain : {"_x_", "_x12_", "_x00g0_", "_x110000_", "_xD800_", "_x+030_"}) {
    EXPECT_EQ(attribute("<?xml version='1.0'?><a " + std::string(plain) + "=1/>"),
              std::string(plain) + "=1");
  }
}

std::string Repeat(std::string_view text, int count) {
  std::string out;
  out.reserve(text.size() * static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) out.append(text);
  return out;
}

TEST(XmlReader, DeepDocumentsTakeNoStack) {
  constexpr int kLevels = 100'000;
  XMLNodePtr node = Parse(Repeat("<a>", kLevels) + "<b x=1/>");
  XMLNodePtr copy = node->DeepClone();
  EXPECT_EQ(copy->WriteXml(), node->WriteXml());
  node->CopyFrom(*copy, MergeMode::kReplace, true);
  int depth = 0;
  for (XMLNodePtr at = node; at; at = at->ChildAt(0)) ++depth;
  EXPECT_EQ(depth, kLevels + 1);
  XMLNodePtr last = node;
  while (XMLNodePtr child = last->ChildAt(0)) last = std::move(child);
  EXPECT_FALSE(last->FindInfo("x"));
  node = nullptr;
  EXPECT_EQ(last->Text("x"), "1");
}

// A quadratic reader would need minutes for any of these, more than a test has.
TEST(XmlReader, HostileTextsAreReadInLinearTime) {
  const XMLNodePtr node = CoXMLNode::Create({});
  for (const std::string& text :
       {Repeat("<a>", 100'000) + Repeat("</b>", 100'000), "<a>" + Repeat("<!--", 300'000),
        "<a>" + Repeat("x<!---->&", 300'000), Repeat("<![", 300'000),
        "<a>" + Repeat("<![[", 300'000)}) {
    EXPECT_TRUE(node->ReadXml(text).Ok());
  }
  std::string names;
  for (int i = 0; i < 200'000; ++i) names += "n" + std::to_string(i) + " ";
  node->MergeText(names, MergeMode::kClearFirst);
  EXPECT_EQ(node->AttributeCount(), 200'000u);
  for (int i = 0; i < 100'000; ++i) names += "n" + std::to_string(i) + "::a=1 ";
  node->MergeText(names, MergeMode::kReplace, true);
  EXPECT_NE(node->FindChild("n99999"), nullptr);
}

}  // namespace
}  // namespace xv::XMLParse
