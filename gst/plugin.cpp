#include <gst/gst.h>

#include "writer_sink.h"

namespace {

gboolean InitPlugin(GstPlugin* plugin) {
  return gst_element_register(plugin, "xvwritersink", GST_RANK_NONE, xv::gst::WriterSinkType());
}

}  // namespace

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, xvwriter, "Recording through XvWriterFFM",
                  InitPlugin, XV_VERSION, GST_LICENSE_UNKNOWN, "XvWriterFFM", "XvWriterFFM")
