// Writers side by side that start, stop, are read and written, feed receivers that fail, and lose
// nothing: soak [--seconds N] [--writers N] [--seed N]. Ends with 1 after the first fault.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "soak/lossless_recording.h"
#include "soak/process_watch.h"
#include "support/loopback.h"
#include "support/temporary_folder.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

using namespace std::chrono_literals;
using xv::host::Writer;
using Clock = std::chrono::steady_clock;

struct Settings {
  int seconds = 60;
  int writers = 8;
  unsigned seed = 1;
};

struct Container {
  const char* extension;
  const char* attributes;
};
constexpr Container kLossless[] = {
    {".nut", "video::codec=ffv1 audio::codec=pcm_s16le"},
    {".mkv", "video::codec=ffv1 audio::codec=flac"},
    {".nut", "video::codec=rawvideo audio::codec=pcm_s16le play_while_rec=true"},
    {".avi", "video::codec=ffv1 audio::codec=pcm_s16le video.buffers=2"},
    {".mkv", "video::codec=ffv1 video.buffers=0"},
    {".mp4", "video::codec=libx264 video::preset=ultrafast video::qp=0 play_while_rec=true"},
};

std::atomic<bool> over{false};
std::atomic<int> faults{0};
std::atomic<long> recordings{0}, frames{0}, catalogues{0};

void Fault(const std::string& what) {
  ++faults;
  std::fprintf(stderr, "soak: %s\n", what.c_str());
}

// One thread's writer, which starts one recording after the other.
class Station {
 public:
  Station(int number, unsigned seed, std::string folder)
      : folder_(std::move(folder)),
        number_(number),
        random_(seed + static_cast<unsigned>(number)) {}

  void Run() {
    while (!over && faults == 0) {
      RecordOnce();
      ++recordings;
    }
  }
  Clock::time_point Seen() const { return Clock::time_point(Clock::duration(seen_.load())); }

 private:
  int Below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }

  // A port of loopback where nobody listens.
  static std::string DeadReceiver() {
    return "tcp://127.0.0.1:" + std::to_string(xv::test::FreePort(xv::test::Transport::kTcp));
  }

  void RecordOnce() {
    const Container& container = kLossless[static_cast<std::size_t>(Below(std::size(kLossless)))];
    const std::string path = folder_ + "/w" + std::to_string(number_) + container.extension;
    std::string attributes = container.attributes;
    const bool second = Below(4) == 0;  // whose failure the stop tells
    if (second) {
      attributes += " second_encoder='" + DeadReceiver() + "' second_encoder::format=nut";
    }
    if (Below(5) == 0) RecordToNobody();
    if (xv::Failed(writer_.Start(path, attributes))) return Fault("start of " + path);
    xv::soak::NoiseFeed feed(static_cast<std::uint64_t>(random_()) << 32);
    const int count = 1 + Below(60);
    for (int i = 0; i < count; ++i) {
      const xv::HRESULT put = feed.Push(writer_);
      if (put != xv::S_OK) return Fault("put: " + xv::host::Describe(put) + writer_.LastError());
      ++frames;
      seen_ = Clock::now().time_since_epoch().count();
      Meddle();
    }
    const bool atOnce = Below(10) == 0;
    const xv::HRESULT stopped = atOnce ? writer_.StopAtOnce() : writer_.Stop();
    if (xv::Failed(stopped) && !atOnce && !second) {
      return Fault("stop of " + path + ": " + writer_.LastError());
    }
    Compare(path, feed.Accepted(), atOnce);
  }

  // What was accepted is in the file, whole and in order; of one that was given up, its beginning.
  void Compare(const std::string& path, const std::vector<std::uint64_t>& accepted, bool atOnce) {
    std::vector<std::uint64_t> decoded = xv::soak::DecodedSums(path);
    const bool whole = decoded.size() == accepted.size();
    const bool begins = decoded.size() <= accepted.size() &&
                        std::equal(decoded.begin(), decoded.end(), accepted.begin());
    if (begins && (whole || atOnce)) return;
    Fault(path + ": " + std::to_string(decoded.size()) + " pictures of " +
          std::to_string(accepted.size()) + " accepted ones, or others");
  }

  // A stream whose other end is not there: a failure in words, soon.
  void RecordToNobody() {
    Writer lost;
    xv::HRESULT result =
        lost.Start(DeadReceiver(), "format=mpegts video::codec=mpeg2video io_timeout=2");
    xv::soak::NoiseFeed feed(1);
    for (int i = 0; i < 30 && xv::Succeeded(result); ++i) result = feed.Push(lost);
    const xv::HRESULT stopped = lost.Stop();
    if (xv::Succeeded(result) && xv::Succeeded(stopped)) Fault("nobody took a stream with success");
  }

  void Meddle() {
    if (Below(8) == 0) static_cast<void>(writer_.Stats());
    if (Below(16) == 0) static_cast<void>(writer_.Get("quality::encode_ms.p99"));
    if (Below(32) == 0) static_cast<void>(writer_.Set("soak::note", std::to_string(Below(1000))));
    if (Below(64) == 0) std::this_thread::sleep_for(std::chrono::milliseconds(Below(20)));
  }

  const std::string folder_;
  const int number_;
  std::mt19937 random_;
  Writer writer_;
  std::atomic<Clock::rep> seen_{Clock::now().time_since_epoch().count()};
};

// Reads what can be written, as a dialog would.
void ReadCatalogues() {
  while (!over && faults == 0) {
    if (Writer().Get("supported_list").empty()) Fault("no catalogue");
    ++catalogues;
    std::this_thread::sleep_for(200ms);
  }
}

void Watch(const Settings& settings, const std::deque<Station>& stations,
           xv::soak::GrowthWatch* watch) {
  const auto end = Clock::now() + std::chrono::seconds(settings.seconds);
  while (Clock::now() < end && faults == 0) {
    std::this_thread::sleep_for(100ms);
    watch->Sample();
    for (const Station& station : stations) {
      if (Clock::now() - station.Seen() < 90s) continue;
      std::fprintf(stderr, "soak: a writer stands still\n");
      std::abort();  // for the stacks
    }
  }
  over = true;
}

Settings Read(int argc, char** argv) {
  Settings settings;
  for (int i = 1; i + 1 < argc; i += 2) {
    const int value = std::atoi(argv[i + 1]);
    if (std::strcmp(argv[i], "--seconds") == 0) settings.seconds = value;
    if (std::strcmp(argv[i], "--writers") == 0) settings.writers = value;
    if (std::strcmp(argv[i], "--seed") == 0) settings.seed = static_cast<unsigned>(value);
  }
  return settings;
}

}  // namespace

int main(int argc, char** argv) {
  const Settings settings = Read(argc, argv);
  av_log_set_level(AV_LOG_PANIC);
  const xv::test::TemporaryFolder folder;
  setenv("XVWRITER_SETTINGS", (folder / "settings.toml").c_str(), 1);
  xv::soak::GrowthWatch watch;
  {
    std::deque<Station> stations;
    std::vector<std::thread> threads;
    for (int i = 0; i < settings.writers; ++i) stations.emplace_back(i, settings.seed, folder / "");
    for (Station& station : stations) threads.emplace_back([&station] { station.Run(); });
    threads.emplace_back(ReadCatalogues);
    Watch(settings, stations, &watch);
    for (std::thread& thread : threads) thread.join();
  }
  const std::string growth = settings.seconds >= 60 ? watch.Growth() : "";
  if (!growth.empty()) Fault("growth:" + growth);
  const xv::soak::Holdings left = xv::soak::HoldingsNow();
  std::printf(
      "soak: %ld recordings, %ld frames, %ld catalogues, %d faults; by quarters %s; left %zu "
      "descriptors, %zu threads\n",
      recordings.load(), frames.load(), catalogues.load(), faults.load(), watch.Summary().c_str(),
      left.descriptors, left.threads);
  return faults == 0 ? 0 : 1;
}
