#pragma once

#include <gst/gst.h>

#include "sink_core.h"

namespace xv::gst {

// A pad of the element with its stream, not yet added to it; the pad owns what it needs.
GstPad* MakeSinkPad(GstPadTemplate* pad, const char* name, bool isSound, SinkCore* core);
// The pad's stream ends; before the pad is taken off the element.
void ReleaseSinkPad(GstPad* pad);

}  // namespace xv::gst
