#pragma once

#include <cstdint>
#include <string>

#include "xvwriter/host.hpp"

namespace xvrecord {

// OpenMetrics 1.0, or the text format 0.0.4 that Prometheus had before. Samples are the same; the
// formats differ in how a counter is announced and how the text ends.
enum class MetricsForm { kOpenMetrics, kPrometheus };

// What stays as it is while a recording runs.
struct MetricsSubject {
  std::string target;
  double startSeconds = 0;  // since 1970
};

[[nodiscard]] const char* MetricsType(MetricsForm form);  // for Content-Type

// A writer's statistics in base units: seconds, bytes.
[[nodiscard]] std::string MetricsText(const xv::host::Statistics& statistics,
                                      const MetricsSubject& subject, MetricsForm form);

}  // namespace xvrecord
