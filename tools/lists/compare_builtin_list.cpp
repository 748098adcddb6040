// Prints where the built-in list differs from what this build of FFmpeg reports, a line each. Run
// it when FFmpeg changes. Exit status 0 when there is no difference, 1 otherwise.
#include <cstdio>

#include "catalogue/builtin_list.h"
#include "lists/list_comparison.h"

extern "C" {
#include <libavutil/log.h>
}

int main() {
  av_log_set_level(AV_LOG_QUIET);
  const xv::XMLParse::XMLNodePtr list = xv::XMLParse::CoXMLNode::Create({});
  if (list->ReadXml(xv::BuiltinList()).Failed()) return 1;
  const std::vector<std::string> differences = xv::CompareWithFFmpeg(*list);
  for (const std::string& line : differences) std::printf("%s\n", line.c_str());
  return differences.empty() ? 0 : 1;
}
