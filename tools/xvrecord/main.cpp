#include <malloc.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdio>

#include "base/secrets.h"
#include "xvrecord/catalogue_view.h"
#include "xvrecord/completion.h"
#include "xvrecord/messages.h"
#include "xvrecord/options.h"
#include "xvrecord/recording.h"
#include "xvrecord/stop_signals.h"
#include "xvrecord/targets.h"

extern "C" {
#include <libavutil/log.h>
}

namespace xvrecord {
namespace {

// Packets and pictures are megabytes each, and go and come with every frame: what one thread gives
// back serves the others too, without being faulted in anew page by page.
void ShareFreedMemory() {
  constexpr int kKept = 32 << 20;
  mallopt(M_ARENA_MAX, 1);
  mallopt(M_MMAP_THRESHOLD, kKept);
  mallopt(M_TRIM_THRESHOLD, kKept);
}

int PrintLists(const Options& options, const xv::host::Writer& writer) {
  const std::string xml = writer.Get("supported_list");
  if (options.list) std::printf("%s\n", xml.c_str());
  const auto list = ParseList(xml);
  if (options.formats) std::printf("%s", FormatsTable(*list).c_str());
  if (!options.codecsOf.empty()) std::printf("%s", CodecsTable(*list, options.codecsOf).c_str());
  if (!options.optionsOf.empty()) {
    const std::string codec = options.optionsOf.size() > 1 ? options.optionsOf[1] : std::string();
    std::printf("%s", OptionsTable(*list, options.optionsOf[0], codec).c_str());
  }
  return 0;
}

int ApplyProperties(const Options& options, xv::host::Writer& writer) {
  for (const std::string& pair : options.set) {
    const std::size_t equals = pair.find('=');
    if (equals == std::string::npos) throw UsageError("--set wants NAME=VALUE, not " + pair + ".");
    const xv::HRESULT result = writer.Merge(pair.substr(0, equals), pair.substr(equals + 1));
    if (xv::Failed(result)) {
      throw UsageError("Cannot set " + pair + ": " + xv::host::Describe(result));
    }
  }
  const bool taken = options.stats == "-" || IsStandardOutput(options.output);
  for (const std::string& name : options.get) {
    std::fprintf(taken ? stderr : stdout, "%s\n", writer.Get(name).c_str());
  }
  return 0;
}

int LogLevelOf(const std::string& name) {
  constexpr std::pair<const char*, int> kLevels[] = {{"error", AV_LOG_ERROR},
                                                     {"warning", AV_LOG_WARNING},
                                                     {"info", AV_LOG_INFO},
                                                     {"verbose", AV_LOG_VERBOSE},
                                                     {"debug", AV_LOG_DEBUG}};
  for (const auto& [level, number] : kLevels) {
    if (name == level) return number;
  }
  return AV_LOG_PANIC;
}

// FFmpeg's lines as its own programs show them, without what is secret in a URL.
void ShowLog(void* object, int level, const char* format, va_list arguments) {
  static std::atomic<int> atLineStart{1};
  if (level > av_log_get_level()) return;
  std::array<char, 2048> line{};
  int prefix = atLineStart;
  av_log_format_line2(object, level, format, arguments, line.data(), static_cast<int>(line.size()),
                      &prefix);
  atLineStart = prefix;
  std::fputs(xv::MaskSecrets(line.data()).c_str(), stderr);
}

int Run(const Options& options) {
  static StopSignals& signals = *new StopSignals;  // its thread ends with the process
  xv::host::Writer writer;
  const int level = LogLevelOf(options.logLevel);
  av_log_set_level(level);
  // The library keeps the lines of its contexts to itself, for its own words; here the user wants
  // to see them instead.
  if (level > AV_LOG_PANIC) av_log_set_callback(&ShowLog);
  if (const int failed = ApplyProperties(options, writer); failed != 0) return failed;
  if (options.AsksForLists()) return PrintLists(options, writer);
  if (options.input.empty()) return 0;
  const int result = Record(options, signals, writer);
  return result != 0 && signals.EndStatus() != 0 ? signals.EndStatus() : result;
}

// The shell's question: the words behind "--complete" are the command line up to the cursor.
int PrintCandidates(const CLI::App& app, const std::vector<std::string>& words) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  const auto list = ParseList(xv::host::Writer().Get("supported_list"));
  for (const std::string& word : Complete(*list, names, words)) std::printf("%s\n", word.c_str());
  return 0;
}

int Main(int argc, char** argv) {
  Options options;
  CLI::App app{"Records media files, URLs and test pictures through the writer."};
  DescribeOptions(app, options);
  av_log_set_level(AV_LOG_PANIC);
  std::signal(SIGPIPE, SIG_IGN);
  try {
    if (argc > 1 && std::string_view(argv[1]) == "--complete") {
      return PrintCandidates(app, {argv + 2, argv + argc});
    }
    app.parse(WordsToParse(argc, argv));
    CheckOptions(&options);
    return Run(options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kUsage;
  } catch (const UsageError& error) {
    return FailUsage(error.what());
  } catch (const std::exception& error) {
    return Fail(error.what());
  }
}

}  // namespace
}  // namespace xvrecord

int main(int argc, char** argv) {
  xvrecord::ShareFreedMemory();
  return xvrecord::Main(argc, argv);
}
