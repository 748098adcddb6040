#include "xvrecord/metrics_text.h"

#include <fmt/format.h>

#include "base/secrets.h"

namespace xvrecord {
namespace {

std::string Escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\' || c == '"') out += '\\';
    out += c == '\n' ? std::string("\\n") : std::string(1, c);
  }
  return out;
}

std::string Label(const char* name, const std::string& value) {
  return fmt::format("{{{}=\"{}\"}}", name, Escaped(value));
}

class Exposition {
 public:
  explicit Exposition(MetricsForm form) : form_(form) {}

  // Begins a family; the samples of a counter end in "_total".
  void Begin(const char* family, const char* type, const char* help) {
    const bool counter = std::string_view(type) == "counter";
    const bool info = std::string_view(type) == "info";
    const bool open = form_ == MetricsForm::kOpenMetrics;
    name_ = family;
    suffix_ = counter ? "_total" : info ? "_info" : "";
    const std::string announced = open ? name_ : name_ + suffix_;
    text_ += fmt::format("# TYPE {} {}\n# HELP {} {}\n", announced, !open && info ? "gauge" : type,
                         announced, help);
  }
  void Add(double value, const std::string& labels = {}) {
    text_ += fmt::format("{}{}{} {}\n", name_, suffix_, labels, value);
  }
  void One(const char* family, const char* type, const char* help, double value) {
    Begin(family, type, help);
    Add(value);
  }
  std::string Done() {
    return std::move(text_) + (form_ == MetricsForm::kOpenMetrics ? "# EOF\n" : "");
  }

 private:
  const MetricsForm form_;
  std::string name_;
  std::string suffix_;
  std::string text_;
};

double Number(std::int64_t count) { return static_cast<double>(count); }

void AddFrames(const xv::host::Statistics& s, Exposition* out) {
  out->One("xvrecord_frames", "counter", "Frames that the recording was given.",
           Number(s.framesIn));
  out->One("xvrecord_dropped_frames", "counter",
           "Frames refused by a full queue or skipped for their time.", Number(s.drops));
  out->One("xvrecord_repeated_pictures", "counter", "Pictures that stood in for missing ones.",
           Number(s.repeats));
  out->One("xvrecord_time_jumps", "counter", "Frames whose time jumped.", Number(s.rebases));
  out->One("xvrecord_time_errors", "counter", "Pictures whose time was not above the one before.",
           Number(s.ptsErrors));
  out->One("xvrecord_queued_pictures", "gauge", "Pictures that wait for the encoder.",
           Number(s.videoDeque));
  out->Begin("xvrecord_left_out_frames", "counter",
             "Frames with media for which the first frame left no track.");
  out->Add(Number(s.audioLeftOut), Label("media", "sound"));
  out->Add(Number(s.videoLeftOut), Label("media", "picture"));
}

void AddSound(const xv::host::Statistics& s, Exposition* out) {
  constexpr double kMilliseconds = 1e3;
  out->One("xvrecord_silence_seconds", "counter", "Silence put in where samples were missing.",
           Number(s.audioSilence) / kMilliseconds);
  out->One("xvrecord_cut_sound_seconds", "counter", "Sound for which there was no time.",
           Number(s.audioCut) / kMilliseconds);
}

void AddCaptions(const xv::host::Statistics& s, Exposition* out) {
  out->Begin("xvrecord_caption_pairs", "counter", "Pairs of caption bytes by what became of them.");
  out->Add(Number(s.captionsSeen), Label("state", "seen"));
  out->Add(Number(s.captionsWritten), Label("state", "written"));
  out->Add(Number(s.captionsEmbedded), Label("state", "embedded"));
  out->Add(Number(s.captionsLost), Label("state", "lost"));
}

void AddTimes(const char* family, const char* help, xv::host::Milliseconds half,
              xv::host::Milliseconds most, Exposition* out) {
  out->Begin(family, "summary", help);
  out->Add(std::chrono::duration<double>(half).count(), Label("quantile", "0.5"));
  out->Add(std::chrono::duration<double>(most).count(), Label("quantile", "0.99"));
}

void AddStreams(const xv::host::Statistics& s, Exposition* out) {
  out->Begin("xvrecord_stream_packets", "counter",
             "Packets that a stream of the output was given.");
  for (std::size_t i = 0; i < s.streams.size(); ++i) {
    out->Add(Number(s.streams[i].packets), Label("stream", std::to_string(i)));
  }
  out->Begin("xvrecord_stream_bytes", "counter", "Bytes that a stream of the output was given.");
  for (std::size_t i = 0; i < s.streams.size(); ++i) {
    out->Add(Number(s.streams[i].bytes), Label("stream", std::to_string(i)));
  }
}

void AddHealth(const xv::host::Statistics& s, Exposition* out) {
  out->One("xvrecord_failed", "gauge", "1 once something of the recording has failed.",
           xv::Failed(s.lastStatus) ? 1 : 0);
  out->One("xvrecord_side_file_errors", "counter", "Blocks that a side file could not take.",
           Number(s.sideFileErrors));
  out->One("xvrecord_unused_options", "gauge", "Attributes that nobody took.",
           static_cast<double>(s.unusedOptions.size()));
  out->One("xvrecord_bad_values", "gauge", "Attributes with a value that cannot have been meant.",
           static_cast<double>(s.badValues.size()));
}

}  // namespace

const char* MetricsType(MetricsForm form) {
  return form == MetricsForm::kOpenMetrics
             ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
             : "text/plain; version=0.0.4; charset=utf-8";
}

std::string MetricsText(const xv::host::Statistics& statistics, const MetricsSubject& subject,
                        MetricsForm form) {
  Exposition out(form);
  out.Begin("xvrecord_recording", "info", "What is recorded to.");
  out.Add(1, Label("target", xv::MaskSecrets(subject.target)));
  out.One("xvrecord_start_time_seconds", "gauge", "When the recording began, since 1970.",
          subject.startSeconds);
  AddFrames(statistics, &out);
  AddSound(statistics, &out);
  AddCaptions(statistics, &out);
  AddTimes("xvrecord_encode_seconds", "Time that a picture took to encode.", statistics.encodeP50,
           statistics.encodeP99, &out);
  AddTimes("xvrecord_write_seconds", "Time that a packet took to write.", statistics.writeP50,
           statistics.writeP99, &out);
  AddStreams(statistics, &out);
  AddHealth(statistics, &out);
  return out.Done();
}

}  // namespace xvrecord
