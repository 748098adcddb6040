#include "soak/process_watch.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace xv::soak {
namespace {

std::size_t EntriesOf(const char* folder) {
  const auto entries = std::filesystem::directory_iterator(folder);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

Holdings HoldingsNow() {
  std::ifstream file("/proc/self/statm");
  double all = 0, resident = 0;
  file >> all >> resident;
  constexpr double kMegabyte = 1 << 20;
  return {resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / kMegabyte,
          EntriesOf("/proc/self/fd"), EntriesOf("/proc/self/task")};
}

Holdings GrowthWatch::MostOf(std::size_t quarter) const {
  Holdings most;
  for (std::size_t i = quarter * samples_.size() / 4; i < (quarter + 1) * samples_.size() / 4;
       ++i) {
    most.megabytes = std::max(most.megabytes, samples_[i].megabytes);
    most.descriptors = std::max(most.descriptors, samples_[i].descriptors);
    most.threads = std::max(most.threads, samples_[i].threads);
  }
  return most;
}

std::string GrowthWatch::Growth() const {
  constexpr double kMegabytes = 48;  // pictures of sessions that overlap by chance
  constexpr std::size_t kOfOneWriter = 12;
  const Holdings before = MostOf(1), after = MostOf(3);
  std::ostringstream out;
  if (after.megabytes > before.megabytes * 1.15 + kMegabytes) {
    out << " memory from " << before.megabytes << " to " << after.megabytes << " MB";
  }
  if (after.descriptors > before.descriptors + kOfOneWriter) {
    out << " descriptors from " << before.descriptors << " to " << after.descriptors;
  }
  if (after.threads > before.threads + kOfOneWriter) {
    out << " threads from " << before.threads << " to " << after.threads;
  }
  return out.str();
}

std::string GrowthWatch::Summary() const {
  std::ostringstream out;
  for (std::size_t quarter = 0; quarter < 4; ++quarter) {
    const Holdings most = MostOf(quarter);
    out << (quarter > 0 ? ", " : "") << static_cast<int>(most.megabytes) << " MB "
        << most.descriptors << " descriptors " << most.threads << " threads";
  }
  return out.str();
}

}  // namespace xv::soak
