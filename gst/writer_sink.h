#pragma once

#include <gst/gst.h>

namespace xv::gst {

// The element "xvwritersink": records one picture and any number of sound streams into one file.
//
// It is a GstElement with request pads, "video" and "audio_%u", that collects by itself. The bases
// that GStreamer has do not fit: GstBaseSink has one pad; GstAggregator and GstCollectPads wait for
// every pad, and the first of them needs a source pad. The writer wants each picture together with
// the sound of its time, sound with holes, and must go on where a live source goes silent
// (StreamCollector). As the sinks of GStreamer do, it changes to PAUSED once it has data, waits
// there and does not look at the clock: what is recorded need not be on time.
GType WriterSinkType();

}  // namespace xv::gst
