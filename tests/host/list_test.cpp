#include "xvwriter/list.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "support/fixtures.h"
#include "support/peer_process.h"
#include "support/temporary_folder.h"

// The served list as hosts read it: with our header, and with any reader of XML.
namespace xv::test {
namespace {

using ServedXml = WithFolder;
using ServedList = WithFolder;

using testing::AllOf;
using testing::Contains;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

host::Writer WriterWithList(const std::string& path) {
  host::Writer writer;
  EXPECT_EQ(writer.Set("config.path", path), S_OK);
  return writer;
}

std::string Complaints(const TemporaryFolder& folder, const std::string& xml) {
  std::ofstream(folder / "list.xml") << xml;
  const ProgramResult result = RunProgram({"xmllint", "--noout", folder / "list.xml"});
  return result.status == 0 ? result.err : result.err + "failed";
}

// An element name that a reader with namespaces takes too.
void ExpectNoColons(const std::string& xml) {
  for (std::size_t at = xml.find('<'); at != xml.npos; at = xml.find('<', at + 1)) {
    const std::string name = xml.substr(at, xml.find_first_of(" >", at) - at);
    ASSERT_EQ(name.find(':'), name.npos) << name;
  }
}

TEST_F(ServedXml, IsWellFormedForAnyReader) {
  EXPECT_EQ(Complaints(folder_, "<a><0/></a>").empty(), false) << "the reader that is asked";
  const std::string builtIn = WriterWithList(folder_ / "none.xml").Get("supported_list");
  EXPECT_THAT(builtIn, HasSubstr("<_x0030_>"));
  EXPECT_EQ(Complaints(folder_, builtIn), "");
  ExpectNoColons(builtIn);

  host::Writer full = WriterWithList(folder_ / "none.xml");
  ASSERT_EQ(full.Merge("", "config.full=true config.update=true"), S_OK);
  const std::string everything = full.Get("supported_list");
  std::filesystem::remove(folder_ / "none.xml");  // which is where it was saved
  EXPECT_GT(everything.size(), builtIn.size());
  EXPECT_EQ(Complaints(folder_, everything), "");

  // A user's list in the old form, with what no XML may hold.
  folder_.Write("mine.xml",
                "<supported_list><formats><format id='mp4' name='R&D <1> \"x\"' 1/2=a n:s=b>"
                "<attributes_info><0>None</0><-1 values='&lt;'>A</-1><n:s/></attributes_info>"
                "<video><codec id='mpeg4'/></video></format></formats></supported_list>");
  const host::Writer user = WriterWithList(folder_ / "mine.xml");
  const std::string mine = user.Get("supported_list");
  EXPECT_EQ(Complaints(folder_, mine), "");
  // What is served may be the user's list itself.
  folder_.Write("served.xml", mine);
  EXPECT_EQ(WriterWithList(folder_ / "served.xml").Get("supported_list"), mine);
  const host::ServedList list(user);
  const auto format = list.At("formats::format[0]");
  ASSERT_TRUE(format);
  const host::ListEntry entry{"", *format};
  EXPECT_EQ(entry.Text("NAME"), "R&D <1> \"x\"");
  EXPECT_EQ(entry.Text("1/2"), "a");
}

TEST_F(ServedList, WalksFormatsCodecsAndOptions) {
  const host::Writer writer = WriterWithList(folder_ / "none.xml");
  const host::ServedList list(writer);
  const auto formats = list.Entries("formats::format");
  ASSERT_GT(formats.size(), 10u);
  EXPECT_EQ(formats[0].Text("name"), "Auto Select");
  EXPECT_EQ(formats[2].path, "formats::format[2]");
  const auto mov = host::FindEntry(list, "formats::format", "MOV");
  ASSERT_TRUE(mov);
  EXPECT_EQ(host::FindEntry(list, "formats::format", mov->Text("name"))->path, mov->path);
  EXPECT_FALSE(host::FindEntry(list, "formats::format", "no such format"));
  EXPECT_EQ(host::FindEntry(list, "formats::format", "")->path, "formats::format[0]");
  EXPECT_THAT(list.Declared(mov->path),
              Contains(Field("name", &host::ListOption::name, "movflags")));

  const auto x264 = host::FindEntry(list, "formats::format[0]::video::codec", "libx264");
  const auto options = host::CodecOptions(list, x264.value(), "video");
  const auto named = [](const char* name, auto... fields) {
    return AllOf(Field("name", &host::ListOption::name, name), fields...);
  };
  using host::ListOption;
  EXPECT_THAT(options, Contains(named("preset", Field(&ListOption::values, HasSubstr("veryfast")))))
      << "of the general entry";
  EXPECT_THAT(options, Contains(named("ar_type", Field(&ListOption::defaultValue, "ignore-ar"))))
      << "of all codecs";
  EXPECT_THAT(options, Contains(named("qmax", Field(&ListOption::maximum, "1024.0"),
                                      Field(&ListOption::description, Not(IsEmpty())))));
}

TEST_F(ServedList, NearerOptionsHideAndInheritEndsTheWalk) {
  folder_.Write("mine.xml",
                "<supported_list><formats><format id='mp4' name='f'><video>"
                "<codec id='mpeg4' name='one' b='1M'><attributes_info><b default='1M'/>"
                "</attributes_info></codec>"
                "<codec id='mpeg4' name='two'><attributes_info inherit='false'><x default='1'/>"
                "</attributes_info></codec>"
                "<codec id='mpeg2video' name='three' inherit='mpeg4' note=\"it's \"/></video>"
                "</format></formats>"
                "<video_codecs><attributes_info><b default='9M'/><all/></attributes_info>"
                "<codec id='mpeg4'><attributes_info><B default='5M'/>"
                "<mine type='int' select_from='m'><m values='1, 2'/></mine></attributes_info>"
                "</codec></video_codecs></supported_list>");
  const host::Writer writer = WriterWithList(folder_ / "mine.xml");
  // By path, ahead of any other look at the list.
  const auto props = host::QueryAs<IXvProps>(writer.object());
  const auto shownDefault = [&](const char16_t* attribute) -> std::string {
    const auto path = std::u16string(u"supported_list::formats::format[0]::video::") + attribute;
    char16_t* texts[3] = {};
    const HRESULT result = props->PropsInfoGet(path.c_str(), &texts[0], &texts[1], &texts[2]);
    const std::string type = host::TakeString(texts[0]) + host::TakeString(texts[2]);
    return Failed(result) ? "none" : type + host::TakeString(texts[1]);
  };
  EXPECT_EQ(shownDefault(u"codec[0]::b"), "1M");
  EXPECT_EQ(shownDefault(u"codec[0]::mine"), "int1, 2");
  EXPECT_EQ(shownDefault(u"codec[1]::mine"), "none") << "inherit ends it";
  EXPECT_EQ(shownDefault(u"codec[2]::b"), "5M") << "of the codec that it names";
  EXPECT_EQ(shownDefault(u"codec[2]::all"), "");
  const host::ServedList list(writer);
  const auto names = [&](const char* codec) {
    std::string text;
    const auto entry = host::FindEntry(list, "formats::format[0]::video::codec", codec);
    for (const auto& option : host::CodecOptions(list, entry.value(), "video")) {
      text += option.name + "=" + option.defaultValue + " ";
    }
    return text;
  };
  EXPECT_EQ(names("one"), "b=1M mine= all= ");
  EXPECT_EQ(names("two"), "x=1 ");
  EXPECT_EQ(names("three"), "b=5M mine= all= ");
  EXPECT_EQ(host::PresetText(writer, "mp4", "one"),
            " format='mp4' video::codec='mpeg4' video::b='1M'");
  EXPECT_EQ(host::PresetText(writer, "", "three"),
            " video::codec='mpeg2video' video::note=\"it's \"");
  EXPECT_EQ(host::PresetText(writer, "mp4", "four"), std::nullopt);
}

TEST_F(ServedList, OfAWriterThatWasMovedFromIsEmpty) {
  host::Writer writer;
  const host::Writer other = std::move(writer);
  const host::ServedList list(writer);  // NOLINT(bugprone-use-after-move)
  EXPECT_THAT(list.Entries("formats::format"), IsEmpty());
  EXPECT_THAT(list.Declared("formats"), IsEmpty());
}

}  // namespace
}  // namespace xv::test
