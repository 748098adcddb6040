#include "xvrecord/demuxer.h"

#include <dlfcn.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <new>

extern "C" {
#include <libavutil/parseutils.h>
}

namespace xvrecord {
namespace {

constexpr int kStandardInputBytes = 64 << 10;
constexpr int kPollMs = 100;

int IsStopAsked(void* stopAsked) {
  const auto& asked = *static_cast<std::function<bool()>*>(stopAsked);
  return asked && asked() ? 1 : 0;
}

// Looks out for a stop while nothing comes.
int ReadStandardInput(void* stopAsked, std::uint8_t* data, int bytes) {
  pollfd ready{STDIN_FILENO, POLLIN, 0};
  while (IsStopAsked(stopAsked) == 0) {
    if (poll(&ready, 1, kPollMs) <= 0) continue;
    const ssize_t got = read(STDIN_FILENO, data, static_cast<std::size_t>(bytes));
    if (got > 0) return static_cast<int>(got);
    if (got == 0) return AVERROR_EOF;
    if (errno != EINTR && errno != EAGAIN) return AVERROR(errno);
  }
  return AVERROR_EXIT;
}

std::int64_t SeekStandardInput(void*, std::int64_t offset, int whence) {
  if (whence != AVSEEK_SIZE) return lseek(STDIN_FILENO, offset, whence & ~AVSEEK_FORCE);
  const off_t here = lseek(STDIN_FILENO, 0, SEEK_CUR);
  const off_t end = lseek(STDIN_FILENO, 0, SEEK_END);
  lseek(STDIN_FILENO, here, SEEK_SET);
  return end;
}

// Capture devices and filter sources are in a library that is loaded when one is asked for.
void RegisterDevices() {
  const std::string name = "libavdevice.so." + std::to_string(LIBAVFORMAT_VERSION_MAJOR);
  void* library = dlopen(name.c_str(), RTLD_NOW);
  void* entry = library != nullptr ? dlsym(library, "avdevice_register_all") : nullptr;
  if (entry != nullptr) reinterpret_cast<void (*)()>(entry)();
}

const AVInputFormat* FindDemuxer(const std::string& name) {
  if (name.empty()) return nullptr;
  const AVInputFormat* found = av_find_input_format(name.c_str());
  if (found == nullptr) {
    RegisterDevices();
    found = av_find_input_format(name.c_str());
  }
  if (found == nullptr) {
    throw UsageError("-f does not know " + name + " (capture devices and lavfi need libavdevice).");
  }
  return found;
}

AVDictionary* DemuxerOptions(const MediaOptions& options) {
  AVDictionary* all = nullptr;
  for (const std::string& pair : options.demuxerOptions) {
    const std::size_t equals = pair.find('=');
    if (equals == std::string::npos || equals == 0) {
      throw UsageError("--demuxer-option wants NAME=VALUE, not " + pair + ".");
    }
    av_dict_set(&all, pair.substr(0, equals).c_str(), pair.c_str() + equals + 1, 0);
  }
  const auto set = [&](const char* key, const std::string& value) {
    if (!value.empty()) av_dict_set(&all, key, value.c_str(), 0);
  };
  set("framerate", options.rate);
  set("video_size", options.size);
  set("pixel_format", options.pixelFormat);
  return all;
}

}  // namespace

std::string WordsOf(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof(text));
  return text;
}

Demuxer::Demuxer(const std::string& url, const MediaOptions& options)
    : stopAsked_(options.stopAsked) {
  const AVInputFormat* demuxer = FindDemuxer(options.demuxer);
  AVDictionary* left = DemuxerOptions(options);
  AVFormatContext* context = avformat_alloc_context();
  context->interrupt_callback = {IsStopAsked, &stopAsked_};
  if (url == "-") UseStandardInput(context);
  const int result = avformat_open_input(&context, url.c_str(), demuxer, &left);
  context_.reset(context);
  if (result < 0) {
    av_dict_free(&left);
    throw InputError("Cannot open " + url + ": " + WordsOf(result) + ".");
  }
  TakeLeftOvers(left, options);
  avformat_find_stream_info(context, nullptr);
}

void Demuxer::UseStandardInput(AVFormatContext* context) {
  const bool seeks = lseek(STDIN_FILENO, 0, SEEK_CUR) >= 0;
  standardInput_ = xv::MakeIoContext(kStandardInputBytes, &stopAsked_, ReadStandardInput, nullptr,
                                     seeks ? SeekStandardInput : nullptr);
  if (!standardInput_) throw std::bad_alloc();
  context->pb = standardInput_.get();
}

// What the demuxer did not take. Its pictures can be counted at another rate all the same.
void Demuxer::TakeLeftOvers(AVDictionary* left, const MediaOptions& options) {
  std::string unknown;
  for (const AVDictionaryEntry* entry = nullptr;
       (entry = av_dict_get(left, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr;) {
    if (std::string(entry->key) != "framerate") unknown += std::string(" ") + entry->key;
  }
  const bool assumes = av_dict_get(left, "framerate", nullptr, 0) != nullptr;
  av_dict_free(&left);
  if (!unknown.empty()) {
    throw UsageError(std::string("Inputs of the format ") + context_->iformat->name +
                     " have no option" + unknown + ".");
  }
  if (!assumes) return;
  AVRational rate{};
  if (av_parse_video_rate(&rate, options.rate.c_str()) < 0) {
    throw UsageError("-r wants pictures a second such as 25 or 30000/1001, not " + options.rate +
                     ".");
  }
  assumedRate_ = rate;
}

}  // namespace xvrecord
