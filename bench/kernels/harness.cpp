#include "harness.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace xv::bench {
namespace {

constexpr std::size_t kSweepBytes = 160 << 20;

double ThreadMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

double Measure(const Body& body) {
  const double start = ThreadMilliseconds();
  body();
  return ThreadMilliseconds() - start;
}

std::string MedianAndMinimum(std::vector<double> times) {
  if (times.empty()) return "";
  std::sort(times.begin(), times.end());
  char text[40];
  std::snprintf(text, sizeof text, "%8.3f (%7.3f)", times[times.size() / 2], times.front());
  return text;
}

}  // namespace

Harness::Harness(const Options& options) : options_(options) {
  if (options.cold) sweep_.resize(kSweepBytes);
}

bool Harness::Wants(const std::string& title) const {
  return title.find(options_.only) != std::string::npos;
}

void Harness::Sweep() {
  for (std::size_t i = 0; i < sweep_.size(); i += 64) sweep_[i] = static_cast<char>(sweep_[i] + 1);
}

void Harness::Row(const std::string& title, const std::vector<Candidate>& candidates) {
  std::printf("%s\n", title.c_str());
  std::vector<std::vector<double>> hot(candidates.size()), cold(candidates.size());
  for (int round = 0; round < options_.rounds; ++round) {
    for (std::size_t i = 0; i < candidates.size(); ++i) {
      const Body& body = candidates[i].body;
      if (!body) continue;
      body();
      hot[i].push_back(Measure(body));
      if (!options_.cold) continue;
      Sweep();
      cold[i].push_back(Measure(body));
    }
  }
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    if (!candidates[i].body) continue;
    std::printf("  %-24s hot %s   cold %s\n", candidates[i].name.c_str(),
                MedianAndMinimum(hot[i]).c_str(), MedianAndMinimum(cold[i]).c_str());
  }
  std::fflush(stdout);
}

}  // namespace xv::bench
