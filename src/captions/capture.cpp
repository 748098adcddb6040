#include "captions/capture.h"

#include <utility>

#include "captions/frame_items.h"
#include "contracts/frame_node.h"

namespace xv {
namespace {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

XV_TIME TimeOf(IXvFrame& frame, const XV_TIME* time) {
  XV_TIME own{};
  if (time != nullptr) return *time;
  if (const Ref<IXfFrame> view = Query<IXfFrame>(&frame)) view->FrameTimeGet(&own);
  return own;
}

double RateOf(IXvFrame& frame) {
  XV_AV_PROPS props{};
  std::uint32_t count = 0;
  if (const Ref<IXfFrame> view = Query<IXfFrame>(&frame)) view->FramePropsGet(&props, &count);
  return props.vid.dblRate;
}

}  // namespace

void CaptionCapture::SetupCapture(const std::string& outputPath, const CoXMLNode& attributes,
                                  CaptionCounters* stats, SideFileReport report) {
  ResetCapture();
  report_ = std::move(report);
  stats_ = stats;
  outputPath_ = outputPath;
  options_ = CoXMLNode::Create("capture");
  for (const AttributeRow& row : CaptureAttributes()) {
    if (attributes.Has(row)) (void)options_->SetText(row.name, attributes.TextOf(row));
  }
  const CoXMLNode* const nodes[] = {options_.get()};
  sessionOptions_ = ReadCaptureOptions(nodes, outputPath_);
  scc_ = MakeRef<SCCWriter>(stats);
  anc_ = MakeRef<CANCDataFile>();
  UseOptions(sessionOptions_);
}

void CaptionCapture::UseOptions(const CaptureOptions& options) {
  if (options.sccPath != scc_->Path()) scc_->SetPath(options.sccPath, options.maxSkip);
  scc_->SetMaxSkip(options.maxSkip);
  if (options.ancPath != anc_->Path()) (void)anc_->SetPath(options.ancPath, false, false);
}

// A path of the frame's stays: going back would empty the file that was left.
void CaptionCapture::UseFrameNode(const XMLNodePtr& node) {
  const CoXMLNode* const nodes[] = {node.get(), options_.get()};
  frameOptions_ = ReadCaptureOptions(nodes, outputPath_);
  for (const auto& key : {kSccPath, kAncPath}) {
    if (const auto path = node->Find(key)) (void)options_->SetText(key.name, *path);
  }
  sessionOptions_.sccPath = frameOptions_.sccPath;
  sessionOptions_.ancPath = frameOptions_.ancPath;
}

int CaptionCapture::CaptureFrame(IXvFrame* frame, const XV_TIME* time) {
  if (frame == nullptr || !scc_) return 0;
  if (stats_ != nullptr && FrameCarriesCaptions(*frame)) ++stats_->seen;
  const XMLNodePtr node = NodeOfFrame(frame);
  if (!node) return CaptureWith(sessionOptions_, *frame, time);
  UseFrameNode(node);
  UseOptions(frameOptions_);
  const int done = CaptureWith(frameOptions_, *frame, time);
  scc_->SetMaxSkip(sessionOptions_.maxSkip);
  return done;
}

int CaptionCapture::CaptureWith(const CaptureOptions& options, IXvFrame& frame,
                                const XV_TIME* time) {
  int done = 0;
  if (options.scc && !options.sccPath.empty()) {
    (void)CaptureCaption(&frame, time);
    Report("scc", options.sccPath, scc_->TakeFailure());
    done |= kLookedForPair;
  }
  if (options.anc && !options.ancPath.empty()) {
    Report("anc", options.ancPath, anc_->WriteFrame(options.tags, frame, time));
    done |= kWroteAnc;
  }
  return done;
}

Status CaptionCapture::CaptureCaption(IXvFrame* frame, const XV_TIME* time) {
  if (frame == nullptr || !scc_) return E_INVALIDARG;
  return scc_->PutFrame(FramePairs(*frame), TimeOf(*frame, time), RateOf(*frame));
}

void CaptionCapture::Report(std::string_view kind, const std::string& path, Status status) const {
  if (status.Failed() && report_) report_(kind, path, status);
}

void CaptionCapture::ResetCapture() {
  if (scc_) {
    const std::string path = scc_->Path();
    scc_->Close();
    Report("scc", path, scc_->TakeFailure());
  }
  if (anc_) anc_->Close();
  scc_ = nullptr;
  anc_ = nullptr;
}

}  // namespace xv
