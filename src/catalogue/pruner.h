#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "catalogue/hardware_report.h"
#include "props/node.h"

namespace xv {

// Takes what cannot run out of a list, and says why. One caller at a time; a pruner belongs to one
// list, whose reasons it remembers while that list lives.
class Pruner {
 public:
  explicit Pruner(HardwareReport report) : report_(std::move(report)) {}

  // Removes the codecs that this machine cannot run and the cells that a container refuses from
  // "formats", and formats without a video child left. Writes the read-only attributes of the
  // QuickSync codecs and the node "unavailable", the last child: a "codec" for each that is gone,
  // with its "id", the "format" where it is one container's, and the reason as its value.
  void Run(XMLParse::CoXMLNode& list);

  // For a list that was loaded anew.
  void Forget() { gone_.clear(); }

 private:
  // Why a codec cannot run here at all; empty when it can.
  std::string Reason(const std::string& codec) const;
  std::string QuickSyncReason(const std::string& codec) const;
  const std::string& CachedReason(const std::string& codec);
  const std::string& CachedCell(const std::string& format, const std::string& codec);
  void PruneCodecs(const std::string& format, XMLParse::CoXMLNode& codecs);
  void PruneFormats(XMLParse::CoXMLNode& formats);
  void DescribeCodecs(XMLParse::CoXMLNode& videoCodecs) const;
  void WriteUnavailable(XMLParse::CoXMLNode& list) const;

  const HardwareReport report_;
  // Both are the machine's and stay: the reason by codec, and by format and codec.
  std::map<std::string, std::string> reasons_;
  std::map<std::pair<std::string, std::string>, std::string> cells_;
  // Codec and format ("" for all) of what was taken out, in order of name.
  std::map<std::pair<std::string, std::string>, std::string> gone_;
};

}  // namespace xv
