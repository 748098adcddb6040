#include <gmock/gmock.h>

#include "support/host_frames.h"
#include "xvwriter/registration.h"

// What the library exports for hosts beside the writer: nodes and its version.
namespace xv::test {
namespace {

std::string TextOf(const char16_t* given) {
  host::Ptr<IXvNode> node;
  if (XvNodeCreate(given, node.Receive()) != S_OK) return "failed";
  char16_t* text = nullptr;
  EXPECT_EQ(node->ToXML(&text), S_OK);
  return host::TakeString(text);
}

TEST(NodeCreate, MakesANodeOutOfAttributesOrXml) {
  EXPECT_EQ(TextOf(nullptr), "<node/>");
  EXPECT_EQ(TextOf(u""), "<node/>");
  EXPECT_EQ(TextOf(u"a=1 b='2 3' c::d=4"), "<node a='1' b='2 3'><c d='4'/></node>");
  EXPECT_EQ(TextOf(u"\r\n <mine a=1><0>x</0></mine>"), "<mine a='1'><0>x</0></mine>");
  EXPECT_EQ(TextOf(u"<?xml version='1.0'?><mine _x0030_='&lt;'/>"), "<mine 0='<'/>");
  EXPECT_EQ(TextOf(u"a='<b>'"), "<node a='<b>'/>") << "it is attribute text that has a bracket";
  EXPECT_EQ(XvNodeCreate(u"a=1", nullptr), E_POINTER);
}

TEST(NodeCreate, GivesOneReference) {
  host::Ptr<IXvNode> node;
  ASSERT_EQ(XvNodeCreate(u"a=1", node.Receive()), S_OK);
  EXPECT_EQ(node->AddRef(), 2u);
  EXPECT_EQ(node->Release(), 1u);
}

TEST(Version, OfHeadersAndLibraryAreThoseOfTheProject) {
  EXPECT_EQ(XvVersionGet(), std::uint32_t{XV_VERSION_NUMBER});
  EXPECT_EQ(XV_VERSION_NUMBER,
            XV_VERSION_MAJOR * 1000000 + XV_VERSION_MINOR * 1000 + XV_VERSION_PATCH);
  const std::string text = std::to_string(XV_VERSION_MAJOR) + "." +
                           std::to_string(XV_VERSION_MINOR) + "." +
                           std::to_string(XV_VERSION_PATCH) + ".0";
  EXPECT_EQ(host::Writer().Get("dll-version"), text);
}

}  // namespace
}  // namespace xv::test
