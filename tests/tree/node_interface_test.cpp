#include <gtest/gtest.h>

#include "base/text.h"
#include "tree/node.h"

namespace xv::XMLParse {
namespace {

// Takes an out string and frees it.
class OutString {
 public:
  ~OutString() { XvStringFree(text_); }
  char16_t** operator&() {  // NOLINT(google-runtime-operator): an out argument
    XvStringFree(text_);
    text_ = nullptr;
    return &text_;
  }
  std::string Get() const { return text_ == nullptr ? "(null)" : Utf8FromUtf16(text_); }

 private:
  char16_t* text_ = nullptr;
};

class NodeInterface : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(node_->FromXML(u"<root a=1 b=yes c=50%><x n=1/><y/><x n=2>text</x></root>", 0), S_OK);
  }

  std::string Xml(IXvNode* node) {
    EXPECT_EQ(node->ToXML(&text_), S_OK);
    return text_.Get();
  }
  std::string Attributes() {
    EXPECT_EQ(node_->ToText(&text_), S_OK);
    return text_.Get();
  }

  XMLNodePtr owned_ = CoXMLNode::Create({});
  IXvNode* node_ = owned_.get();
  OutString text_;
  OutString name_;
  Ref<IXvNode> other_;
  std::int32_t number_ = -5;
};

TEST_F(NodeInterface, TypedAttributes) {
  EXPECT_TRUE(Query<IXvAttributes>(node_) && Query<IUnknown>(node_) && NodeOf(node_) == owned_);
  EXPECT_EQ(node_->GetInt(u"a", &number_), S_OK);
  EXPECT_EQ(number_, 1);
  EXPECT_EQ(node_->GetBool(u"b", &number_), S_OK);
  EXPECT_EQ(number_, 1);
  double value = 0;
  EXPECT_EQ(node_->GetDouble(u"c", &value), S_OK);
  EXPECT_EQ(value, 0.5);
  EXPECT_EQ(node_->GetStringEx(u"x[1]::n", &number_, &text_), S_OK);
  EXPECT_EQ(std::to_string(number_) + text_.Get(), "12");
  for (const HRESULT absent :
       {node_->GetDouble(u"none", &value), node_->GetInt(u"none", &number_),
        node_->GetBool(u"none", &number_), node_->GetString(u"none", &text_)}) {
    EXPECT_EQ(absent, S_FALSE);
  }
  EXPECT_EQ(text_.Get(), "(null)");
  EXPECT_EQ(node_->GetStringEx(u"none", &number_, nullptr), S_OK);
  EXPECT_EQ(number_, 0);
  EXPECT_EQ(node_->SetBool(u"d", 2), S_OK);
  EXPECT_EQ(node_->SetInt(u"e", -3), S_OK);
  EXPECT_EQ(node_->SetDouble(u"f", 1.5), S_OK);
  EXPECT_EQ(node_->SetString(u"g", nullptr), S_OK);
  EXPECT_EQ(Attributes(), " a='1' b='yes' c='50%' d='true' e='-3' f='1.5' g=''");
  EXPECT_EQ(node_->RemoveAll(), S_OK);
  EXPECT_EQ(Xml(node_), "<root><x n='1'/><y/><x n='2'>text</x></root>");
}

TEST_F(NodeInterface, BadArgumentsHaveTheirResults) {
  const auto out = [&] { return other_.Receive(); };
  for (const HRESULT invalid :
       {node_->SetString(nullptr, u"1"), node_->SetString(u"", u"1"),
        node_->SetString(u"a::", u"1"), node_->SetName(nullptr), node_->FromXML(nullptr, 0),
        node_->FromText(nullptr, 0), node_->GetChildByPath(u"q::::r", 1, out()),
        node_->CopyFrom(nullptr, 1)}) {
    EXPECT_EQ(invalid, E_INVALIDARG);
  }
  for (const HRESULT absent :
       {node_->Remove(u"none"), node_->GetByIndex(3, &name_, &text_),
        node_->GetByIndex(-1, &name_, &text_), node_->GetChild(9, &name_, out()),
        node_->GetChildByPath(u"q", 0, out()), node_->RemoveChild(u"q"),
        node_->GetParent(out(), &number_), node_->GetIndex(&number_), node_->Detach()}) {
    EXPECT_EQ(absent, XV_E_NOT_FOUND);
  }
  for (const HRESULT null : {node_->GetCount(nullptr), node_->GetByIndex(0, nullptr, &text_),
                             node_->GetString(u"a", nullptr)}) {
    EXPECT_EQ(null, E_POINTER);
  }
  EXPECT_EQ(node_->Merge(node_, 1), E_NOTIMPL);
}

TEST_F(NodeInterface, WalksTheTree) {
  ASSERT_EQ(node_->GetChild(2, &name_, other_.Receive()), S_OK);
  EXPECT_EQ(name_.Get(), "x");
  Ref<IXvNode> parent;
  EXPECT_EQ(other_->GetParent(parent.Receive(), &number_), S_OK);
  EXPECT_EQ(parent.get(), node_);
  EXPECT_EQ(number_, 2);
  EXPECT_EQ(other_->GetRoot(parent.Receive()), S_OK);
  EXPECT_EQ(parent.get(), node_);
  ASSERT_EQ(node_->GetChild(0, &name_, other_.Receive()), S_OK);
  EXPECT_EQ(other_->Detach(), S_OK);
  EXPECT_EQ(other_->GetIndex(&number_), S_OK);
  EXPECT_EQ(number_, 2);
  for (const char16_t* value : {u"value", u"other"}) {
    EXPECT_EQ(node_->GetChildByName(u"new::one", value, other_.Receive()), S_OK);
    EXPECT_EQ(Xml(other_.get()), "<one>value</one>") << "set where it is made";
  }
  EXPECT_EQ(node_->RemoveChild(u"new"), S_OK);
  EXPECT_EQ(node_->RemoveChildren(), S_OK);
  EXPECT_EQ(Xml(node_), "<root/>");
}

TEST_F(NodeInterface, XmlOfANodeWithoutChildrenIsItsAttributes) {
  EXPECT_EQ(node_->GetXML(&text_), S_OK);
  EXPECT_EQ(text_.Get(), Xml(node_));
  ASSERT_EQ(node_->GetChildByPath(u"x", 0, other_.Receive()), S_OK);
  EXPECT_EQ(other_->GetXML(&text_), S_OK);
  EXPECT_EQ(text_.Get(), " n='1'");
  for (const auto& [content, written] :
       {std::pair{u"plain & simple", "<x n='1'>plain &amp; simple</x>"},
        {u"<k/><c x=1>v</c>", "<x n='1'><k/><c x='1'>v</c></x>"},
        {u"again", "<x n='1'>again</x>"},
        {static_cast<const char16_t*>(nullptr), "<x n='1'/>"}}) {
    EXPECT_EQ(other_->SetXML(content), S_OK);
    EXPECT_EQ(Xml(other_.get()), written);
  }
}

TEST_F(NodeInterface, CopiesAttributesAndClones) {
  Ref<IXvAttributes> copy;
  EXPECT_EQ(node_->CopyAs(copy.Receive()), S_OK);
  EXPECT_EQ(Xml(Query<IXvNode>(copy.get()).get()), "<m_attributes a='1' b='yes' c='50%'/>");
  EXPECT_EQ(copy->FromText(u"a=9 z=1", 0), S_OK);
  EXPECT_EQ(node_->CopyFrom(copy.get(), 1), S_OK);
  EXPECT_EQ(Attributes(), " a='1' b='yes' c='50%' z='1'");
  EXPECT_EQ(node_->Clone(other_.Receive()), S_OK);
  EXPECT_EQ(Xml(other_.get()), Xml(node_));
  Ref<IXvNode> root;
  EXPECT_EQ(other_->GetRoot(root.Receive()), S_OK);
  EXPECT_EQ(root->GetName(&name_), S_OK);
  EXPECT_EQ(name_.Get(), "clone");
  EXPECT_EQ(other_->SetInt(u"a", 2), S_OK);
  EXPECT_EQ(node_->GetInt(u"a", &number_), S_OK);
  EXPECT_EQ(number_, 1) << "a copy's change stays with it";
  other_ = nullptr;
  EXPECT_EQ(root->GetInt(u"root::a", &number_), S_OK) << "the root keeps the clone";
}

TEST_F(NodeInterface, SchemaEntriesAreWrittenAndRead) {
  EXPECT_EQ(node_->GetInfo(other_.Receive()), XV_E_NOT_FOUND);
  EXPECT_EQ(node_->SetInfo(u"a", u"int", u"7", other_.Receive()), S_OK);
  for (const char16_t* refused : {u"", u"Type", u"default", u"values", (const char16_t*)nullptr}) {
    EXPECT_EQ(node_->SetInfo(refused, u"int", u"7", other_.Receive()), E_INVALIDARG);
  }
  EXPECT_EQ(node_->GetInfo(other_.Receive()), S_OK);
  EXPECT_EQ(Xml(other_.get()), "<attributes_info><a type='int' default='7'/></attributes_info>");
  EXPECT_EQ(node_->GetInfoOf(0, other_.Receive()), S_OK);
  EXPECT_EQ(node_->GetInfoOf(1, other_.Receive()), XV_E_NOT_FOUND);
  EXPECT_EQ(node_->GetAttributeInfo(u"x::a", other_.Receive()), S_OK) << "inherited";
  EXPECT_EQ(Xml(other_.get()), "<a type='int' default='7'/>");
  const auto value = [&](const char16_t* key, const char16_t* fallback) {
    const HRESULT result = node_->GetInfoValue(u"a", key, fallback, &text_);
    return result == S_OK ? text_.Get() : std::to_string(result);
  };
  EXPECT_EQ(value(u"default", nullptr), "7");
  EXPECT_EQ(value(u"min", u"-1"), "-1");
  EXPECT_EQ(value(u"min", nullptr), std::to_string(S_FALSE));
  EXPECT_EQ(node_->GetCount(&number_), S_OK);
  EXPECT_EQ(number_, 3) << "the schema is no attribute";
}

}  // namespace
}  // namespace xv::XMLParse
