// Records the cases FIRST, FIRST + STEP, ... of the sweep, in a process that may die of one. Prints
// a line ahead of each, "begin NUMBER DESCRIPTION", and one behind it, "end NUMBER TROUBLE".
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>

#include "sweep/sweep_cases.h"
#include "sweep/textured_pictures.h"

extern "C" {
#include <libavutil/log.h>
}

namespace xv::test {
namespace {

constexpr int kFrames = 12;
constexpr unsigned kSecondsForACase = 60;
[[maybe_unused]] constexpr rlim_t kMemory = rlim_t{6} << 30;

// What the list offers records, or is refused with words; "" when that is so.
std::string TroubleOf(host::Writer& writer, HRESULT result) {
  const std::string unused = writer.Get("quality::unused_options");
  const std::string bad = writer.Get("quality::bad_values");
  const std::string error = writer.LastError();
  if (Failed(result) && error.empty()) return host::Describe(result) + " without words";
  return unused.empty() || !bad.empty() || !error.empty() ? "" : "left without words: " + unused;
}

std::string RecordCase(const ListedEntry& entry, const SweepCase& one,
                       const TexturedPictures& pictures) {
  TemporaryFolder folder;
  const std::filesystem::path before = std::filesystem::current_path();
  // Some values are names of files.
  std::filesystem::current_path(folder / "");
  host::Writer writer;
  HRESULT result =
      writer.Start(folder / entry.target, entry.preset + Setting(entry, one.name, one.value));
  for (int i = 0; i < kFrames && result == S_OK; ++i) result = writer.Put(pictures.Frame(i));
  const HRESULT stopped = writer.Stop();
  if (result == S_OK) result = stopped;
  std::filesystem::current_path(before);
  return one.offered ? TroubleOf(writer, result) : std::string();
}

int Run(std::size_t first, std::size_t step) {
  av_log_set_level(AV_LOG_QUIET);
#ifndef XV_SANITIZED
  const rlimit memory{kMemory, kMemory};
  (void)setrlimit(RLIMIT_AS, &memory);
#endif
  const std::vector<ListedEntry> entries = ListedEntries();
  const std::vector<SweepCase> cases = SweepCases(entries);
  std::size_t drawn = entries.size();
  std::optional<TexturedPictures> pictures;
  for (std::size_t i = first; i < cases.size(); i += step) {
    std::printf("begin %zu %s\n", i, Describe(entries, cases[i]).c_str());
    std::fflush(stdout);
    const std::size_t entry = cases[i].entry;
    if (drawn != entry) pictures.emplace(entries[entry].feed);
    drawn = entry;
    alarm(kSecondsForACase);
    std::string trouble = RecordCase(entries[entry], cases[i], *pictures);
    for (char& c : trouble) c = c == '\n' ? ' ' : c;
    std::printf("end %zu %s\n", i, trouble.c_str());
    std::fflush(stdout);
  }
  return 0;
}

}  // namespace
}  // namespace xv::test

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  return xv::test::Run(std::strtoull(argv[1], nullptr, 10), std::strtoull(argv[2], nullptr, 10));
}
