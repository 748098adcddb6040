#include <gmock/gmock.h>

#include "support/vendor/vendor_fixture.h"
#include "xvwriter/list.hpp"

// What the served list says of vendors' encoders, through stand-ins for their libraries.
namespace xv::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class HardwareListTest : public WithVendor {
 protected:
  // A writer of its own asks the machine anew.
  void Read(const std::string& stand) {
    vendor::Reset();
    vendor::Configure(stand);
    writer_.emplace();
    list_.emplace(*writer_);
  }
  bool Offers(const std::string& codec) const {
    return host::FindEntry(*list_, "formats::format[0]::video::codec", codec).has_value();
  }
  std::string Reason(const std::string& codec) const {
    const std::string xml = writer_->Get("supported_list");
    const std::size_t at = xml.find("<codec id='" + codec + "'>", xml.find("<unavailable>"));
    if (at == std::string::npos) return {};
    const std::size_t begin = xml.find('>', at) + 1;
    return xml.substr(begin, xml.find('<', begin) - begin);
  }
  host::ListOption Option(const std::string& codec, const std::string& name) const {
    for (const auto& entry : list_->Entries("video_codecs::codec")) {
      if (entry.Text("id") != codec) continue;
      for (auto& option : list_->Declared(entry.path)) {
        if (option.name == name) return option;
      }
    }
    return {};
  }

  std::optional<host::Writer> writer_;
  std::optional<host::ServedList> list_;
};

TEST_F(HardwareListTest, ShowsWhatTheEncodersAtHandDo) {
  Read("bframes=3 hevc_bframes=0 max_width=1920 max_height=1200");
  for (const char* there : {"n264", "l264", "n265", "c264"}) EXPECT_TRUE(Offers(there)) << there;
  EXPECT_EQ(vendor::CallCount("NVCreateEncoder"), 1) << "one question for each list";
  EXPECT_EQ(Option("n264", "bf").maximum, "3.0");
  EXPECT_EQ(Option("n265", "bf").maximum, "0.0");
  EXPECT_THAT(Option("n264", "preset").values, HasSubstr("lossless_hp"));
  EXPECT_THAT(Option("n264", "interlace").values, HasSubstr("bottom"));
  EXPECT_EQ(Option("l264", "size").maximum, "1920x1200");

  Read("bframes=0 hevc=0 lossless=0 fields=0 devices=1");
  EXPECT_TRUE(Offers("n264"));
  EXPECT_EQ(Reason("l264"), "the adapter does not encode without loss");
  EXPECT_EQ(Reason("n265"), "the adapter does not encode H.265");
  EXPECT_EQ(Option("n264", "bf").maximum, "0.0");
  EXPECT_THAT(Option("n264", "preset").values, Not(HasSubstr("lossless")));
  EXPECT_EQ(Option("n264", "interlace").values, "auto, progressive");
}

TEST_F(HardwareListTest, HidesWhatCannotRunAndSaysWhy) {
  Read("devices=0");
  for (const char* gone : {"n264", "l264", "n265", "h264_nvenc", "c264"}) {
    EXPECT_FALSE(Offers(gone)) << gone;
    EXPECT_NE(Reason(gone), "") << gone;
  }
  EXPECT_THAT(Reason("c264"), HasSubstr("no adapter"));
  const TemporaryFolder empty;
  const ScopedVariable nowhere("XVWRITER_VENDOR_FOLDER", empty.Path());
  Read("");
  EXPECT_FALSE(Offers("c264"));
  EXPECT_THAT(Reason("c264"), HasSubstr("libcuvidenc.so"));
  EXPECT_THAT(Reason("q264sw"), HasSubstr("MFXInit"));
}

TEST_F(HardwareListTest, QuickSyncIsThereWithASession) {
  const ScopedVariable runtime("INTEL_MEDIA_RUNTIME", "MSDK");
  const ScopedVariable node("XVWRITER_RENDER_NODE", "/dev/null");
  Read("");
  for (const char* there : {"q264sw", "q264hw"}) EXPECT_TRUE(Offers(there)) << there;
  Read("hardware=0");
  EXPECT_TRUE(Offers("q264sw"));
  EXPECT_EQ(Reason("q264hw"), "no hardware session");
  const ScopedVariable noNode("XVWRITER_RENDER_NODE", "/no/such/node");
  Read("software=0");
  for (const char* gone : {"q264sw", "q264hw"}) {
    EXPECT_FALSE(Offers(gone)) << gone;
    EXPECT_THAT(Reason(gone), HasSubstr("/no/such/node"));
  }
}

}  // namespace
}  // namespace xv::test
