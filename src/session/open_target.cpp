#include "session/open_target.h"

#include "base/text.h"
#include "catalogue/muxer_name.h"
#include "codec/codec_choice.h"
#include "growing/growing_files.h"
#include "output/second_output.h"
#include "platform/folders.h"
#include "platform/paths.h"
#include "platform/stream_file.h"
#include "session/session_attributes.h"

namespace xv {
namespace {

// The path up to its last "%", then up to its extension point.
std::string StemOf(const std::string& path) {
  std::string stem = path.substr(0, path.rfind('%'));
  return stem.substr(0, ExtensionPoint(stem));
}

// "a/b%03d.jpg" is written to "a/b/b%03d.jpg".
std::string MakeSequenceFolder(const std::string& target) {
  const std::string folder = StemOf(target) + "/";
  (void)CreateFolders(AbsolutePath(folder));
  return folder + std::string(FileNamePart(target));
}

}  // namespace

TargetPlan PlanTarget(const std::string& target, const XMLParse::CoXMLNode& attributes) {
  TargetPlan plan;
  plan.target = target;
  plan.format = MuxerNameFor(target, attributes.Get(kFormat));
  plan.noFormat = plan.format.empty();
  plan.playWhileRec = attributes.Get(kPlayWhileRec) && !IsUrl(target) && !IsStreamTarget(target);
  plan.secondTarget = attributes.Find(kSecondEncoder).value_or(attributes.Get(kCaptureFile));
  if (!plan.secondTarget.empty()) plan.playWhileRec = false;
  if (plan.format == "image2" && attributes.Get(kCreateFolder)) {
    plan.target = MakeSequenceFolder(target);
  }
  return plan;
}

Status CreateOutputs(Outputs& outputs, TargetPlan& plan, const XMLParse::CoXMLNode& attributes,
                     OutputReport& report) {
  RETURN_IF_FAILED(outputs.main.Allocate(plan.target, plan.format));
  const AVOutputFormat& format = *outputs.main.context->oformat;
  plan.ismv = EqualsNoCase(format.name, "ismv");
  if (DefaultCodec(format, AVMEDIA_TYPE_VIDEO) != AV_CODEC_ID_NONE) plan.noFormat = false;
  if ((format.flags & AVFMT_NOFILE) != 0) plan.playWhileRec = false;
  if (!IsUrl(plan.target)) RemoveLeftSideFiles(plan.target);
  if (plan.playWhileRec) {
    outputs.growing = GrowingFiles::Open(plan.target, format, report, &outputs.second);
  }
  if (plan.secondTarget.empty()) return S_OK;
  auto second = std::make_unique<SecondOutput>(report);
  const XMLParse::XMLNodePtr options = attributes.FindChild(kSecondNode);
  const Status made = second->output().Allocate(
      plan.secondTarget, options ? MuxerName(options->Get(kFormat)) : std::string());
  if (made.Failed()) {
    report.Fail("second output", plan.secondTarget, made);
    return S_OK;
  }
  outputs.second = std::move(second);
  return S_OK;
}

}  // namespace xv
