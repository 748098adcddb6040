#pragma once

#include <gst/check/gstharness.h>
#include <gst/gst.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

// GStreamer inside the test, with the plugin of this build.
namespace xv::test {

// Before any test: the plugin of this build and the few others that pipelines here have. Others
// are not even looked at: what their libraries keep would count as leaks.
inline const bool kGstReady = [] {
  setenv("GST_PLUGIN_PATH", GST_FOLDER, 1);
  setenv("GST_PLUGIN_SYSTEM_PATH_1_0", "", 1);
  setenv("GST_REGISTRY", GST_REGISTRY_FILE, 1);
  setenv("GST_REGISTRY_FORK", "no", 1);
  gst_init(nullptr, nullptr);
  for (const char* name : {"coreelements", "videotestsrc", "audiotestsrc"}) {
    const std::string file = std::string(GST_SYSTEM_FOLDER) + "/libgst" + name + ".so";
    GstPlugin* plugin = gst_plugin_load_file(file.c_str(), nullptr);
    if (plugin != nullptr) gst_object_unref(plugin);
  }
  return true;
}();

struct GstDeleter {
  void operator()(GstHarness* p) const { gst_harness_teardown(p); }
  void operator()(GstCaps* p) const { gst_caps_unref(p); }
  void operator()(GstElement* p) const {
    gst_element_set_state(p, GST_STATE_NULL);
    gst_object_unref(p);
  }
};
template <class T>
using GstPtr = std::unique_ptr<T, GstDeleter>;

// What the bus said until the end.
struct BusWords {
  bool ended = false;  // EOS
  std::string error;   // words of the first error
  guint status = 0;    // the writer's, of its details
  std::vector<std::string> warnings;
  std::vector<std::string> statistics;  // structures of the element, in order
  int qos = 0;
};

inline void TakeMessage(GstMessage* message, BusWords* words) {
  GError* error = nullptr;
  switch (GST_MESSAGE_TYPE(message)) {
    case GST_MESSAGE_EOS:
      words->ended = true;
      break;
    case GST_MESSAGE_ERROR: {
      gst_message_parse_error(message, &error, nullptr);
      const GstStructure* details = nullptr;
      gst_message_parse_error_details(message, &details);
      if (details != nullptr) gst_structure_get_uint(details, "status", &words->status);
      words->error = error->message;
      break;
    }
    case GST_MESSAGE_WARNING:
      gst_message_parse_warning(message, &error, nullptr);
      words->warnings.emplace_back(error->message);
      break;
    case GST_MESSAGE_ELEMENT: {
      gchar* text = gst_structure_to_string(gst_message_get_structure(message));
      words->statistics.emplace_back(text);
      g_free(text);
      break;
    }
    case GST_MESSAGE_QOS:
      ++words->qos;
      break;
    default:
      break;
  }
  g_clear_error(&error);
}

// Reads the bus until EOS, an error, or that many seconds are over. Takes what is there already
// where they are 0.
inline BusWords ReadBus(GstBus* bus, double seconds) {
  BusWords words;
  const gint64 until = g_get_monotonic_time() + static_cast<gint64>(seconds * G_USEC_PER_SEC);
  while (!words.ended && words.error.empty()) {
    const gint64 left = MAX(until - g_get_monotonic_time(), 0);
    GstMessage* message = gst_bus_timed_pop(bus, static_cast<GstClockTime>(left) * GST_USECOND);
    if (message == nullptr) break;
    TakeMessage(message, &words);
    gst_message_unref(message);
  }
  return words;
}

// Runs a pipeline from its text to its end and takes it down.
inline BusWords RunPipeline(const std::string& text, double seconds = 60) {
  GError* error = nullptr;
  const GstPtr<GstElement> pipeline(gst_parse_launch(text.c_str(), &error));
  if (error != nullptr) throw std::runtime_error(error->message);
  GstBus* bus = gst_element_get_bus(pipeline.get());
  gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
  const BusWords words = ReadBus(bus, seconds);
  gst_object_unref(bus);
  return words;
}

// An element with harnesses on its pads and a bus. `properties` as gst-launch takes them.
class SinkBench {
 public:
  explicit SinkBench(const std::string& properties)
      : element_(gst_parse_launch(("xvwritersink async=false " + properties).c_str(), nullptr)),
        bus_(gst_bus_new()) {
    gst_element_set_bus(element_.get(), bus_);
  }
  ~SinkBench() {
    feeds_.clear();
    gst_element_set_state(element_.get(), GST_STATE_NULL);
    gst_object_unref(bus_);
  }
  SinkBench(const SinkBench&) = delete;
  SinkBench& operator=(const SinkBench&) = delete;

  GstElement* Element() { return element_.get(); }
  // A harness that feeds the pad, with these caps.
  GstHarness* Feed(const char* pad, const std::string& caps) {
    feeds_.emplace_back(gst_harness_new_with_element(element_.get(), pad, nullptr));
    gst_harness_set_src_caps_str(feeds_.back().get(), caps.c_str());
    return feeds_.back().get();
  }
  // What the bus has now; up to the end when `seconds` are given.
  BusWords Words(double seconds = 0) { return ReadBus(bus_, seconds); }
  // EOS on every harness, and what came of it.
  BusWords Finish() {
    for (const auto& feed : feeds_) gst_harness_push_event(feed.get(), gst_event_new_eos());
    return Words(30);
  }

 private:
  GstPtr<GstElement> element_;
  GstBus* bus_ = nullptr;
  std::vector<GstPtr<GstHarness>> feeds_;
};

inline GstBuffer* Stamped(gsize size, GstClockTime pts, GstClockTime duration) {
  GstBuffer* buffer = gst_buffer_new_allocate(nullptr, size, nullptr);
  GST_BUFFER_PTS(buffer) = pts;
  GST_BUFFER_DURATION(buffer) = duration;
  return buffer;
}

// A grey picture in I420 of even size; the duration is a frame of 25 a second.
inline GstBuffer* GreyPicture(int width, int height, int luma, GstClockTime pts) {
  const auto pixels = static_cast<gsize>(width) * static_cast<gsize>(height);
  GstBuffer* buffer = Stamped(pixels * 3 / 2, pts, GST_SECOND / 25);
  gst_buffer_memset(buffer, 0, static_cast<guint8>(luma), pixels);
  gst_buffer_memset(buffer, pixels, 128, pixels / 2);
  return buffer;
}

// `count` samples of 16 bits that all are `value`, of `channels` at 48 kHz.
inline GstBuffer* FlatSound(int channels, int count, int value, GstClockTime pts) {
  constexpr guint64 kRate = 48000;
  const auto samples = static_cast<std::size_t>(channels * count);
  GstBuffer* buffer = Stamped(
      samples * 2, pts, gst_util_uint64_scale(static_cast<guint64>(count), GST_SECOND, kRate));
  const std::vector<gint16> data(samples, static_cast<gint16>(value));
  gst_buffer_fill(buffer, 0, data.data(), samples * 2);
  return buffer;
}

}  // namespace xv::test
