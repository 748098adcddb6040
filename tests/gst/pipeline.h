#pragma once

#include <gst/check/gstharness.h>
#include <gst/gst.h>

#include <memory>
#include <string>
#include <vector>

// GStreamer inside the test, with the plugin of this build.
namespace xv::test {

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

// Reads the bus until EOS, an error, or that many seconds are over. Takes what is there already
// where they are 0.
BusWords ReadBus(GstBus* bus, double seconds);

// Runs a pipeline from its text to its end and takes it down.
BusWords RunPipeline(const std::string& text, double seconds = 60);

// An element with harnesses on its pads and a bus. `properties` as gst-launch takes them.
class SinkBench {
 public:
  explicit SinkBench(const std::string& properties);
  ~SinkBench();
  SinkBench(const SinkBench&) = delete;
  SinkBench& operator=(const SinkBench&) = delete;

  GstElement* Element() { return element_.get(); }
  // A harness that feeds the pad, with these caps.
  GstHarness* Feed(const char* pad, const std::string& caps);
  // What the bus has now; up to the end when `seconds` are given.
  BusWords Words(double seconds = 0);
  // EOS on every harness, and what came of it.
  BusWords Finish();

 private:
  GstPtr<GstElement> element_;
  GstBus* bus_ = nullptr;
  std::vector<GstPtr<GstHarness>> feeds_;
};

// A grey picture in I420 of even size; the duration is a frame of 25 a second.
GstBuffer* GreyPicture(int width, int height, int luma, GstClockTime pts);
// `count` samples of 16 bits that all are `value`, of `channels` at 48 kHz.
GstBuffer* FlatSound(int channels, int count, int value, GstClockTime pts);

}  // namespace xv::test
