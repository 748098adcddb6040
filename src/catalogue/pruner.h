#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "catalogue/hardware_report.h"
#include "tree/node.h"

namespace xv {

// Takes what cannot run out of a list, and says why. One caller at a time; a pruner belongs to one
// list, whose reasons it remembers while that list lives.
class Pruner {
 public:
  explicit Pruner(HardwareReport report) : report_(std::move(report)) {}

  // Removes from "formats" what this machine cannot write: codecs that do not run, cells that a
  // container refuses, formats of components that are not registered and formats without a video
  // child left. Writes the read-only attributes of the QuickSync codecs, the bounds of NVENC's
  // options and the node "unavailable", the last child, with the reason of each as its value: a
  // "codec" with its "id", and the "format" where it is one container's; a "format" with its "id"
  // and "name".
  void Run(XMLParse::CoXMLNode& list);

  // For a list that was loaded anew.
  void Forget() {
    gone_.clear();
    goneFormats_.clear();
  }

 private:
  // Why a codec cannot run here at all; empty when it can.
  std::string Reason(const std::string& codec) const;
  std::string QuickSyncReason(const std::string& codec) const;
  const std::string& CachedReason(const std::string& codec);
  const std::string& CachedCell(const std::string& format, const std::string& codec);
  void PruneCodecs(const std::string& format, XMLParse::CoXMLNode& codecs);
  // Why the format goes as a whole; empty when it stays.
  std::string PruneFormat(XMLParse::CoXMLNode& format);
  void PruneFormats(XMLParse::CoXMLNode& formats);
  void DescribeCodecs(XMLParse::CoXMLNode& videoCodecs) const;
  void WriteUnavailable(XMLParse::CoXMLNode& list) const;

  const HardwareReport report_;
  // Both are the machine's and stay: the reason by codec, and by format and codec.
  std::map<std::string, std::string> reasons_;
  std::map<std::pair<std::string, std::string>, std::string> cells_;
  // Codec and format ("" for all) of what was taken out, in order of name.
  std::map<std::pair<std::string, std::string>, std::string> gone_;
  // Id and name of formats that were taken out.
  std::map<std::pair<std::string, std::string>, std::string> goneFormats_;
};

}  // namespace xv
