#include "props/props_impl.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>

#include "base/text.h"
#include "props/nearest_name.h"
#include "props/reserved_names.h"

namespace xv {
namespace {

using ::testing::MatchesRegex;

// The smallest owner: an object that offers the interface alone.
class Owner final : public AutoObjBase<Owner, IXvPropsImpl<Owner, IXvProps>> {
 public:
  PropsCore& Core() { return props_; }
};

std::string Take(char16_t* text) {
  std::string out = text == nullptr ? "(null)" : Utf8FromUtf16(text);
  XvStringFree(text);
  return out;
}

const std::string kNotFound = std::to_string(static_cast<std::uint32_t>(XV_E_NOT_FOUND));

class PropsTest : public ::testing::Test {
 protected:
  HRESULT Set(const char16_t* name, const char16_t* value) { return props_->PropsSet(name, value); }
  std::string Get(const char16_t* name) {
    char16_t* value = nullptr;
    EXPECT_EQ(props_->PropsGet(name, &value), S_OK);
    return Take(value);
  }
  // "name=value" of the index-th property, with "+" behind it when it has children.
  std::string At(const char16_t* node, int index) {
    char16_t* name = nullptr;
    char16_t* value = nullptr;
    std::int32_t children = 0;
    const HRESULT result = props_->PropsGetByIndex(node, index, &name, &value, &children);
    if (result != S_OK) return std::to_string(static_cast<std::uint32_t>(result));
    const std::string text = Take(name) + "=" + Take(value);
    return text + (children != 0 ? "+" : "");
  }
  // The number of a node's properties; the result where that is not S_OK.
  std::int32_t Count(const char16_t* node) {
    std::int32_t count = -1;
    const HRESULT result = props_->PropsGetCount(node, &count);
    return result == S_OK ? count : result;
  }
  std::int32_t InfoCount(const char16_t* node) {
    std::int32_t count = -1;
    EXPECT_EQ(props_->PropsInfoGetCount(node, &count), S_OK);
    return count;
  }
  bool Has(const char16_t* node, std::int32_t index) {
    std::int32_t has = -1;
    EXPECT_EQ(props_->PropsHasChild(node, index, &has), S_OK);
    return has == 1;
  }
  // Type, default and values of a schema entry.
  std::string Info(const char16_t* name) {
    char16_t *type = nullptr, *fallback = nullptr, *values = nullptr;
    const HRESULT result = props_->PropsInfoGet(name, &type, &fallback, &values);
    return result == S_OK ? Take(type) + Take(fallback) + Take(values) : "none";
  }
  std::string Tree() { return props_->Core().Node()->WriteXml(); }

  Ref<Owner> props_ = MakeRef<Owner>();
};

TEST_F(PropsTest, PlainValuesMakeTheirPath) {
  EXPECT_EQ(Set(u"video::codec", u"libx264"), S_OK);
  EXPECT_EQ(Set(u"x", u"\u00FC"), S_OK);
  EXPECT_EQ(Tree(), "<xv-props x='\u00FC'><video codec='libx264'/></xv-props>");
  EXPECT_EQ(Get(u"VIDEO::Codec"), "libx264");
  EXPECT_EQ(Get(u"none"), "(null)") << "absent is no failure";
  EXPECT_EQ(Set(u"quoted", u"'a=b'"), S_OK);
  EXPECT_EQ(Get(u"quoted"), "'a=b'");
  EXPECT_EQ(props_->PropsRemove(u"quoted"), S_OK);
  EXPECT_EQ(Get(u""), Tree());
  EXPECT_EQ(Set(u"a::::b", u"1"), XV_E_FILE_NOT_FOUND);
  EXPECT_EQ(Set(u"", u"plain"), E_INVALIDARG);
  EXPECT_EQ(Set(nullptr, u"1"), E_INVALIDARG);
  EXPECT_EQ(props_->Core().LastName(), "");
  EXPECT_EQ(props_->PropsGet(u"x", nullptr), E_POINTER);
  EXPECT_EQ(props_->Core().LastName(), "x");
}

TEST_F(PropsTest, XmlReplacesTheChildOfThatName) {
  EXPECT_EQ(Set(u"video", u"g=25"), S_OK);
  EXPECT_EQ(Set(u"video", u"<audio b='1'/>"), E_INVALIDARG);
  EXPECT_EQ(Get(u"video::g"), "25");
  EXPECT_EQ(Set(u"video", u"<VIDEO b='1'><hw x=1/></VIDEO>"), S_OK);
  EXPECT_EQ(Set(u"a::b[1]", u"<b n='1'/>"), S_OK) << "the index is no part of the name";
  EXPECT_EQ(Tree(), "<xv-props><video b='1'><hw x='1'/></video><a><b n='1'/></a></xv-props>");
  EXPECT_EQ(Set(u"", u"<xv-props new='1'/>"), S_OK);
  EXPECT_EQ(Set(u"video", u"b=5M g=25"), S_OK);
  EXPECT_EQ(Set(u"video", u"b=6M"), S_OK) << "attribute text merges";
  EXPECT_EQ(Set(u"", u"own=1"), S_OK);
  EXPECT_EQ(Tree(), "<xv-props new='1' own='1'><video b='6M' g='25'/></xv-props>");
  EXPECT_EQ(Set(u"::", u"b=5M"), XV_E_FILE_NOT_FOUND);
}

TEST_F(PropsTest, EmptyValuesRemoveAndRemoveHasItsNames) {
  EXPECT_EQ(Set(u"", u"<xv-props x=1 y=2><x/><v a=1><n/></v><w/></xv-props>"), S_OK);
  EXPECT_EQ(Set(u"x", u""), S_OK);
  EXPECT_EQ(Tree(), "<xv-props y='2'><x/><v a='1'><n/></v><w/></xv-props>");
  EXPECT_EQ(Set(u"x", nullptr), S_OK);
  EXPECT_EQ(Set(u"v::n", u""), S_OK);
  EXPECT_EQ(Set(u"none", u""), S_OK);
  EXPECT_EQ(Tree(), "<xv-props y='2'><v a='1'/><w/></xv-props>");
  EXPECT_EQ(props_->PropsRemove(u"none"), XV_E_NOT_FOUND);
  EXPECT_EQ(props_->PropsRemove(u"none::x"), XV_E_NOT_FOUND);
  EXPECT_EQ(props_->PropsRemove(nullptr), E_INVALIDARG);
  EXPECT_EQ(props_->PropsRemove(u"v::A"), S_OK);
  EXPECT_EQ(props_->PropsRemove(u"W"), S_OK);
  EXPECT_EQ(props_->PropsRemove(u"_ALL_props_"), S_OK);
  EXPECT_EQ(Tree(), "<xv-props><v/></xv-props>");
  EXPECT_EQ(Set(u"k", u"1"), S_OK);
  EXPECT_EQ(props_->PropsRemove(u"_all_nodes_"), S_OK);
  EXPECT_EQ(Tree(), "<xv-props k='1'/>");
  EXPECT_EQ(Set(u"", u""), S_OK);
  EXPECT_EQ(Tree(), "<xv-props/>");
}

TEST_F(PropsTest, ReservedNamesComeAheadOfTheTree) {
  EXPECT_EQ(Set(u"_process_pid_", u"7"), S_OK);
  EXPECT_EQ(Get(u"_Process_PID_"), std::to_string(getpid()));
  EXPECT_EQ(Get(u"_process_name_"), std::filesystem::read_symlink("/proc/self/exe").string());
  EXPECT_THAT(Get(u"dll-version"), MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+\\.[0-9]+"));
  EXPECT_EQ(Get(u"dll-file-version"), Get(u"DLL-Version"));
  EXPECT_TRUE(std::filesystem::exists(Get(u"dll-path")));
  EXPECT_THAT(Get(u"dll-date"), MatchesRegex("20[0-9]+-[0-9]+-[0-9]+ [0-9:.]+"));
}

TEST_F(PropsTest, HooksAnswerAheadOfTheTreeAndForwardLast) {
  props_->Core().SetListRead([](std::string* xml) {
    *xml = "<supported_list/>";
    return Status();
  });
  props_->Core().SetQualityRead([](std::string_view name) {
    return name == "drops" ? std::optional<std::string>("3") : std::nullopt;
  });
  EXPECT_EQ(Set(u"quality", u"drops=1 mine=2"), S_OK);
  const Ref<Owner> other = MakeRef<Owner>();
  EXPECT_EQ(other->PropsSet(u"", u"far=away near=2"), S_OK);
  EXPECT_EQ(Set(u"near", u"1"), S_OK);
  props_->Core().SetForward(other);
  EXPECT_EQ(Get(u"Supported_LIST"), "<supported_list/>");
  EXPECT_EQ(Get(u"QUALITY::drops") + Get(u"quality::mine"), "32");
  EXPECT_EQ(Get(u"near") + Get(u"far"), "1away");
  props_->Core().SetForward(nullptr);
  EXPECT_EQ(Get(u"far"), "(null)");
  EXPECT_EQ(props_->PropsGet(u"supported_list", nullptr), E_POINTER);
  props_->Core().SetListRead([](std::string*) { return Status(E_OUTOFMEMORY); });
  char16_t* value = nullptr;
  EXPECT_EQ(props_->PropsGet(u"supported_list", &value), E_OUTOFMEMORY);
  EXPECT_EQ(value, nullptr);
}

TEST_F(PropsTest, IndexWalksAttributesThenChildren) {
  EXPECT_EQ(Set(u"", u"<xv-props x=1 y=2><v a=1/><w>text</w></xv-props>"), S_OK);
  EXPECT_EQ(Count(u""), 2);
  EXPECT_EQ(Count(u"none"), XV_E_NOT_FOUND);
  EXPECT_EQ(At(u"", 1) + At(nullptr, 2) + At(u"", 3) + At(u"v", 0), "y=2v=+w=texta=1");
  for (const int index : {4, -1}) EXPECT_EQ(At(u"", index), kNotFound);
  EXPECT_TRUE(Has(u"", 1) && Has(u"v", -1));
  EXPECT_FALSE(Has(u"", 2) || Has(u"none", -1));
  EXPECT_EQ(props_->PropsGetCount(u"", nullptr), E_POINTER);
  std::int32_t has = -1;
  EXPECT_EQ(props_->PropsHasChild(nullptr, 0, &has), E_INVALIDARG);
}

TEST_F(PropsTest, ComputedQualityIsWalkedLikeANode) {
  props_->Core().SetQualityRead(
      [](std::string_view name) -> std::optional<std::string> {
        if (name == "drops") return "3";
        return name == "last_error" ? std::optional<std::string>("") : std::nullopt;
      },
      [] {
        return std::vector<std::string>{"drops", "last_error"};
      });
  EXPECT_EQ(Set(u"", u"<xv-props x=1><v a=1/></xv-props>"), S_OK);
  EXPECT_EQ(At(u"", 1) + At(u"", 2), "v=+quality=+") << "behind the tree's own children";
  EXPECT_EQ(At(u"", 3), kNotFound);
  EXPECT_EQ(Count(u"Quality"), 2);
  EXPECT_EQ(At(u"quality", 0) + At(u"quality", 1), "drops=3last_error=");
  EXPECT_EQ(At(u"quality", 2), kNotFound);
  EXPECT_TRUE(Has(u"quality", -1) && Has(u"", 1));
  EXPECT_FALSE(Has(u"quality", 0) || Has(u"", 2)) << "it has attributes, no children";
  // A node that a host made beside it: what is computed comes first and shadows.
  EXPECT_EQ(Set(u"quality", u"drops=9 mine=1"), S_OK);
  EXPECT_EQ(Set(u"quality::below::a", u"1"), S_OK);
  EXPECT_EQ(Count(u"quality"), 3);
  EXPECT_EQ(At(u"quality", 0) + At(u"quality", 2) + At(u"quality", 3), "drops=3mine=1below=+");
  EXPECT_EQ(At(u"quality", 4), kNotFound);
  EXPECT_EQ(At(u"", 2), "quality=+");
  EXPECT_EQ(At(u"", 3), kNotFound) << "not shown twice";
  EXPECT_TRUE(Has(u"quality", 0));
}

TEST_F(PropsTest, SchemaIsReadAndWritten) {
  EXPECT_EQ(props_->PropsInfoSet(u"video::b", u"int", u"5M", u"1M, 5M"), S_OK);
  EXPECT_EQ(props_->PropsInfoSet(u"video::g", u"int", nullptr, nullptr), S_OK);
  for (const char16_t* bad : {u"video::type", u"", (const char16_t*)nullptr}) {
    EXPECT_EQ(props_->PropsInfoSet(bad, u"int", nullptr, nullptr), E_INVALIDARG);
  }
  EXPECT_TRUE(InfoCount(u"video") == 2 && Count(u"video::_info_") == 2 && InfoCount(u"") == 0);
  EXPECT_EQ(At(u"video::_info_", 0), "b=+");
  EXPECT_EQ(At(u"_INFO_", 0), kNotFound);
  char16_t* name = nullptr;
  Ref<IXvNode> info;
  EXPECT_EQ(props_->PropsInfoGetByIndex(u"video", 1, &name, info.Receive()), S_OK);
  EXPECT_EQ(Take(name), "g");
  EXPECT_EQ(props_->PropsInfoGetByIndex(u"video", 2, &name, info.Receive()), XV_E_NOT_FOUND);
  EXPECT_EQ(props_->PropsInfoGetByIndex(u"", 0, &name, info.Receive()), XV_E_NOT_FOUND);
  EXPECT_EQ(Info(u"video::b"), "int5M1M, 5M");
  EXPECT_EQ(Info(u"video::g"), "int(null)(null)");
  EXPECT_EQ(Info(u"video::q"), "none");
  EXPECT_EQ(props_->PropsInfoGet(u"video::b", &name, nullptr, &name), E_POINTER);
  EXPECT_THAT(Get(u"video::attributes_info"), ::testing::StartsWith("<attributes_info><b "));
  EXPECT_EQ(Get(u"attributes_info"), "(null)");
}

TEST(NearestName, SlipsAreFoundAndOtherWordsAreNot) {
  EXPECT_EQ(EditDistance("kitten", "sitting"), 3u);
  EXPECT_EQ(EditDistance("ca", "abc"), 3u) << "nothing is edited twice";
  const std::string names[] = {"video.buffers", "video::b", "video::g", "audio::b", "format"};
  EXPECT_EQ(NearestName("vidoe::b", names), "video::b");
  EXPECT_EQ(NearestName("FROMAT", names), "format");
  EXPECT_EQ(NearestName("video.bufers", names), "video.buffers");
  EXPECT_EQ(NearestName("b", names), "video::b") << "of another node";
  EXPECT_EQ(NearestName("audio.0::b", names), "audio::b");
  for (const char* text : {"", "junk", "video::odd", "xx"}) {
    EXPECT_EQ(NearestName(text, names), "") << text;
  }
  EXPECT_EQ(NearestName(std::string(1 << 20, 'b'), names), "");
}

}  // namespace
}  // namespace xv
