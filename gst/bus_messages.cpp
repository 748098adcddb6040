#include "bus_messages.h"

namespace xv::gst {
namespace {

gint CodeOf(HRESULT status, bool opening) {
  if (status == XV_E_DISK_FULL) return GST_RESOURCE_ERROR_NO_SPACE_LEFT;
  if (status == E_INVALIDARG || status == XV_E_NOT_FOUND) return GST_RESOURCE_ERROR_SETTINGS;
  return opening ? GST_RESOURCE_ERROR_OPEN_WRITE : GST_RESOURCE_ERROR_WRITE;
}

void Post(GstElement* element, GstMessageType type, gint code, HRESULT status,
          const std::string& words) {
  GstStructure* details =
      gst_structure_new("details", "status", G_TYPE_UINT, static_cast<guint>(status), "words",
                        G_TYPE_STRING, words.c_str(), nullptr);
  gst_element_message_full_with_details(element, type, GST_RESOURCE_ERROR, code,
                                        g_strdup(words.c_str()), nullptr, __FILE__, GST_FUNCTION,
                                        __LINE__, details);
}

}  // namespace

GstStructure* StatisticsStructure(const host::Statistics& stats, bool final) {
  gint64 packets = 0, bytes = 0;
  for (const host::Statistics::Stream& stream : stats.streams) {
    packets += stream.packets;
    bytes += stream.bytes;
  }
  const auto number = [](std::int64_t value) { return static_cast<gint64>(value); };
  return gst_structure_new("xvwriter-statistics", "final", G_TYPE_BOOLEAN, final ? TRUE : FALSE,  //
                           "frames-in", G_TYPE_INT64, number(stats.framesIn),                     //
                           "drops", G_TYPE_INT64, number(stats.drops),                            //
                           "repeats", G_TYPE_INT64, number(stats.repeats),                        //
                           "rebases", G_TYPE_INT64, number(stats.rebases),                        //
                           "queued", G_TYPE_INT64, number(stats.videoDeque),                      //
                           "audio-silence", G_TYPE_INT64, number(stats.audioSilence),             //
                           "audio-cut", G_TYPE_INT64, number(stats.audioCut),                     //
                           "captions-seen", G_TYPE_INT64, number(stats.captionsSeen),             //
                           "captions-embedded", G_TYPE_INT64, number(stats.captionsEmbedded),     //
                           "captions-lost", G_TYPE_INT64, number(stats.captionsLost),             //
                           "packets", G_TYPE_INT64, packets, "bytes", G_TYPE_INT64, bytes,        //
                           "encode-p50", G_TYPE_DOUBLE, stats.encodeP50.count(),                  //
                           "encode-p99", G_TYPE_DOUBLE, stats.encodeP99.count(),                  //
                           "write-p50", G_TYPE_DOUBLE, stats.writeP50.count(),                    //
                           "write-p99", G_TYPE_DOUBLE, stats.writeP99.count(),                    //
                           "status", G_TYPE_UINT, static_cast<guint>(stats.lastStatus),           //
                           "last-error", G_TYPE_STRING, stats.lastError.c_str(), nullptr);
}

void PostStatistics(GstElement* element, const host::Statistics& stats, bool final) {
  gst_element_post_message(
      element, gst_message_new_element(GST_OBJECT(element), StatisticsStructure(stats, final)));
}

void PostFailure(GstElement* element, HRESULT status, const std::string& words, bool opening) {
  Post(element, GST_MESSAGE_ERROR, CodeOf(status, opening), status, words);
}

void PostWarning(GstElement* element, HRESULT status, const std::string& words) {
  Post(element, GST_MESSAGE_WARNING, GST_RESOURCE_ERROR_SETTINGS, status, words);
}

void PostStreamError(GstElement* element, const std::string& sentence, const std::string& debug) {
  GST_ELEMENT_ERROR(element, STREAM, FORMAT, ("%s", sentence.c_str()), ("%s", debug.c_str()));
}

}  // namespace xv::gst
