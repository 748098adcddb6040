#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "support/fixtures.h"
#include "support/peer_process.h"
#include "support/vendor/vendor_fixture.h"

namespace xv::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class XvhwTest : public InFolder<WithQuick> {
 protected:
  // On a machine with such stand-ins for the vendors' libraries.
  ProgramResult Run(const std::string& stand, std::vector<std::string> options = {}) const {
    const ScopedVariable words("XV_VENDOR", stand + " report=" + report_);
    options.insert(options.begin(), XVHW);
    return RunProgram(options);
  }

  const std::string report_ = folder_ / "report";
};

TEST_F(XvhwTest, TellsWhatWorksAndWhatItDoes) {
  const ProgramResult text = Run("bframes=3 max_width=1920 max_height=1088 hevc=0 lossless=0");
  EXPECT_EQ(text.status, 0);
  EXPECT_THAT(text.out, HasSubstr("NVENC      n264, l264, n265 works: Stand-in"));
  EXPECT_THAT(text.out, HasSubstr("1920x1088, 3 B pictures in a row, fields, not lossless\n"));
  EXPECT_THAT(text.out, HasSubstr("H.265: not on this adapter"));
  EXPECT_THAT(text.out, HasSubstr("CUDA       c264             works: 1 adapter\n"));

  const ProgramResult object = Run("driver=12.1", {"--json"});
  EXPECT_EQ(object.status, 0);
  const auto json = nlohmann::json::parse(object.out);
  EXPECT_EQ(json["vendor_folder"], VENDOR_FOLDER);
  EXPECT_EQ(json["encoders"][0]["driver_api"], "12.1");
  EXPECT_EQ(json["encoders"][0]["h265"]["b_pictures"], 0);
  EXPECT_EQ(json["encoders"][1]["works"], true);
  const auto& quick = json["encoders"][2];
  EXPECT_EQ(quick["name"], "quicksync");
  EXPECT_TRUE(quick["hardware"] && quick["software"]);
  EXPECT_EQ(quick["api"], "1.35");
  EXPECT_THAT(quick["driver"].get<std::string>(), HasSubstr("VA driver"));
  EXPECT_THAT(Run("hardware=0").out, HasSubstr("works: software, interface 1.35"));
  EXPECT_EQ(folder_.Read("report"), "") << "broken rules";
}

TEST_F(XvhwTest, TellsWhyNothingWorks) {
  const ScopedVariable noNode("XVWRITER_RENDER_NODE", folder_ / "no_node");
  const ProgramResult noDevice = Run("devices=0 software=0");
  EXPECT_EQ(noDevice.status, 1);
  EXPECT_THAT(noDevice.out, HasSubstr("no CUDA-capable device"));
  EXPECT_THAT(noDevice.out, HasSubstr("no adapter for the CUDA encoder"));
  EXPECT_THAT(noDevice.out, HasSubstr("no VA display"));
  const ProgramResult noEngine = Run("fail=nvEncOpenEncodeSessionEx:1+:2");
  EXPECT_EQ(noEngine.status, 0) << "the CUDA encoder works";
  EXPECT_THAT(noEngine.out, HasSubstr("NV_ENC_ERR_UNSUPPORTED_DEVICE"));
  EXPECT_THAT(Run("oldest=13").out, HasSubstr("does not speak this version"));
  EXPECT_THAT(Run("", {"--adapter", "1"}).out, HasSubstr("there is no adapter 1"));

  const ScopedVariable nowhere("XVWRITER_VENDOR_FOLDER", folder_.Path());
  const ProgramResult nothing = Run("", {"--json"});
  const auto json = nlohmann::json::parse(nothing.out);
  EXPECT_EQ(json["works"], nothing.status == 0);  // a machine may have a driver of its own
  EXPECT_THAT(json["encoders"][1]["problem"].get<std::string>(), HasSubstr("libcuvidenc.so"));
  const ScopedVariable relative("XVWRITER_VENDOR_FOLDER", "drivers");
  EXPECT_THAT(Run("").out, HasSubstr("not a full path: drivers"));
}

TEST_F(XvhwTest, WrongCommandLinesAreNamed) {
  for (const std::vector<std::string>& line :
       {std::vector<std::string>{"--adapter", "-1"}, {"--adapter", "x"}, {"--jason"}, {"extra"}}) {
    const ProgramResult result = Run("", line);
    EXPECT_EQ(result.status, 2) << line[0];
    EXPECT_NE(result.err + result.out, "") << line[0];
  }
  EXPECT_THAT(Run("", {"--version"}).out, StartsWith("xvhw 1."));
  EXPECT_THAT(Run("", {"--help"}).out, HasSubstr("--adapter"));
}

}  // namespace
}  // namespace xv::test
