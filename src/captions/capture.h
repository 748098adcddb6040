#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "captions/anc_data_file.h"
#include "captions/caption_counters.h"
#include "captions/capture_options.h"
#include "captions/scc_writer.h"
#include "tree/node.h"
#include "xvwriter/frames.h"

namespace xv {

// Told each time that a side file ("scc", "anc") could not take something.
using SideFileReport =
    std::function<void(std::string_view kind, const std::string& path, Status failure)>;

// Looks at what a host attached to the frames that pass through a writer, and feeds the side files:
// captions into an SCC file, named data into an ancillary data file. A failure here is reported and
// never stops a recording. All on the thread that puts frames.
class CaptionCapture {
 public:
  // Results of CaptureFrame, or-ed.
  static constexpr int kLookedForPair = 1;
  static constexpr int kWroteAnc = 2;

  CaptionCapture() = default;
  CaptionCapture(const CaptionCapture&) = delete;
  CaptionCapture& operator=(const CaptionCapture&) = delete;

  // At the start of a session. The options are read now; a running session does not see later
  // changes. `stats` may be null and outlives this, as what `report` uses does.
  void SetupCapture(const std::string& outputPath, const XMLParse::CoXMLNode& attributes,
                    CaptionCounters* stats, SideFileReport report = {});

  // For each frame that the encoder has taken. `time` is the corrected one; null takes the frame's.
  // Options in the frame's own node win for this frame; a path given there stays.
  int CaptureFrame(IXvFrame* frame, const XV_TIME* time);

  // One frame of captions. E_INVALIDARG for a null frame.
  Status CaptureCaption(IXvFrame* frame, const XV_TIME* time);

  // At the stop, and before `stats` goes: closes both files. A line that has not ended is dropped.
  void ResetCapture();

 private:
  void UseOptions(const CaptureOptions& options);
  void UseFrameNode(const XMLParse::XMLNodePtr& node);
  void Report(std::string_view kind, const std::string& path, Status status) const;
  int CaptureWith(const CaptureOptions& options, IXvFrame& frame, const XV_TIME* time);

  XMLParse::XMLNodePtr options_;  // a copy of what the session and the writer say
  std::string outputPath_;
  CaptureOptions sessionOptions_;
  CaptureOptions frameOptions_;
  CaptionCounters* stats_ = nullptr;
  SideFileReport report_;
  Ref<SCCWriter> scc_;
  Ref<CANCDataFile> anc_;
};

// The mix-in of the writer object.
template <class Owner>
class XvCaptureCCBase : public CaptionCapture {};

}  // namespace xv
