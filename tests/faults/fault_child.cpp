// fault_child SCENARIO KIND FIRST STEP: records the scenario again and again while the calls FIRST,
// FIRST + STEP, ... of that kind fail, one in each recording, until a recording makes fewer calls.
// Prints "begin NUMBER DESCRIPTION" ahead of each, "end NUMBER TROUBLE" behind it, and between them
// the stack where one ends the process.
#include <execinfo.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "faults/failing_calls.h"
#include "support/media_probe.h"

extern "C" {
#include <libavutil/log.h>
}

namespace xv::test {
namespace {

constexpr int kFrames = 14;
constexpr unsigned kSecondsForACase = 20;
constexpr Feed kFeed{.width = 128, .height = 96, .interlace = eXvI_TopFirst};

struct Scenario {
  const char* name;
  const char* target;
  const char* attributes;
  const char* second;  // another file that is whole at the end; "" for none
};

constexpr Scenario kScenarios[] = {
    {"mp4", "a.mp4",
     "video::codec=mpeg2video audio::codec=mp2 play_while_rec=true anc_capture=true "
     "video.buffers=4 video::size=96x64",
     ""},
    {"mkv", "a.mkv", "video::codec=libx264 video::preset=ultrafast video::threads=2", ""},
    {"mxf", "a.mxf", "video::codec=mpeg2video audio::codec=pcm_s16le wav_path=side.wav",
     "side.wav"},
    {"avi", "a.avi", "video.buffers=0 video::codec=mpeg4 audio::codec=mp2 second_encoder=b.ts",
     "b.ts"},
    {"mov", "a.mov", "video::codec=rawvideo movflags=faststart", ""},
    {"ts", "a.ts", "video::codec=mpeg2video video::bf=2 audio::codec=aac raw_video=a.m2v", ""},
};

// What a reader finds in a recording.
struct Contents {
  std::int64_t pictures = 0;
  std::int64_t samples = 0;
  int errors = 0;
  bool operator==(const Contents&) const = default;
};

Contents ContentsOf(const std::string& path) {
  Contents found;
  for (const ProbedStream& stream : Probe(path).streams) {
    found.pictures += stream.frames;
    found.samples += stream.samples;
    found.errors += stream.errors;
  }
  return found;
}

// A helper of the host's that finds no memory is a host that is told.
template <class Call>
HRESULT Inside(Call call) {
  const InLibrary library;
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT RecordOnce(host::Writer& writer, const Scenario& scenario) {
  HRESULT result = Inside([&] { return writer.Start(scenario.target, scenario.attributes); });
  for (int i = 0; i < kFrames && result == S_OK; ++i) {
    const auto frame = MakeFrame(kFeed, i);
    (void)host::AddExtra(frame, "ANC.Line.9", "bytes", 5);
    result = Inside([&] { return writer.Put(frame); });
  }
  const HRESULT stopped = Inside([&] { return writer.Stop(); });
  return Failed(result) ? result : stopped;
}

// The whole recordings of a scenario, made once.
struct Reference {
  Contents main;
  Contents second;
};

Reference Whole(const Scenario& scenario) {
  host::Writer writer;
  if (RecordOnce(writer, scenario) != S_OK) {
    throw std::runtime_error("without a fault: " + writer.LastError());
  }
  return {ContentsOf(scenario.target),
          *scenario.second == 0 ? Contents() : ContentsOf(scenario.second)};
}

std::string TroubleOf(const Scenario& scenario, const Reference& whole, HRESULT result) {
  if (Failed(result)) {
    return StatusSentence(result) == nullptr ? host::Describe(result) + " is not documented" : "";
  }
  if (!(ContentsOf(scenario.target) == whole.main)) return "done, and the recording is not whole";
  if (*scenario.second != 0 && !(ContentsOf(scenario.second) == whole.second)) {
    return "done, and the second file is not whole";
  }
  return "";
}

// The writer records again.
std::string TroubleAgain(host::Writer& writer) {
  HRESULT result = writer.Start("again.mov", "video::codec=mpeg4");
  if (result == S_OK) result = PushFrames(writer, kFeed, 2);
  const HRESULT stopped = writer.Stop();
  if (result == S_OK) result = stopped;
  return result == S_OK && ContentsOf("again.mov").pictures == 2
             ? ""
             : "cannot be used again: " + host::Describe(result) + " " + writer.LastError();
}

std::string RunCase(const Scenario& scenario, const Reference& whole, CallKind kind, long number,
                    bool* reached) {
  host::Writer writer;
  FailCall(kind, number);
  const HRESULT result = RecordOnce(writer, scenario);
  *reached = EndFailing();
  if (!*reached && Failed(result)) return "fails by itself: " + writer.LastError();
  const std::string trouble = TroubleOf(scenario, whole, result);
  return trouble.empty() ? TroubleAgain(writer) : trouble;
}

void PrintStack(int signal) {
  void* frames[40];
  const int count = backtrace(frames, 40);
  backtrace_symbols_fd(frames, count, STDOUT_FILENO);
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

int Run(const Scenario& scenario, CallKind kind, const char* kindName, long first, long step) {
  const TemporaryFolder folder;
  std::filesystem::current_path(folder.path());
  const Reference whole = Whole(scenario);
  bool reached = true;
  for (long i = first; reached; i += step) {
    std::printf("begin %ld %s, %s call %ld fails\n", i, scenario.name, kindName, i);
    std::fflush(stdout);
    alarm(kSecondsForACase);
    const std::string trouble = RunCase(scenario, whole, kind, i, &reached);
    std::printf("end %ld %s\n", i, trouble.c_str());
    std::fflush(stdout);
  }
  std::filesystem::current_path("/");
  return 0;
}

int Main(int argc, char** argv) {
  const auto kind = argc == 5 ? CallKindOf(argv[2]) : std::nullopt;
  if (!kind) return 2;
  BeHostThread();
  av_log_set_level(AV_LOG_QUIET);
  void* loadsUnwinder[1];
  (void)backtrace(loadsUnwinder, 1);
  for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGALRM, SIGXFSZ}) {
    std::signal(signal, &PrintStack);
  }
  for (const Scenario& scenario : kScenarios) {
    if (std::strcmp(scenario.name, argv[1]) != 0) continue;
    return Run(scenario, *kind, argv[2], std::atol(argv[3]), std::atol(argv[4]));
  }
  return 2;
}

}  // namespace
}  // namespace xv::test

int main(int argc, char** argv) { return xv::test::Main(argc, argv); }
