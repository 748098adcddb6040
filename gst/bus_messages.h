#pragma once

#include <gst/gst.h>

#include <string>

#include "xvwriter/host.hpp"

// What the element tells on the bus.
namespace xv::gst {

// "xvwriter-statistics": the counts of host::Statistics under their names with "-", times in
// milliseconds; the packets and bytes of all streams added up.
GstStructure* StatisticsStructure(const host::Statistics& stats, bool final);
void PostStatistics(GstElement* element, const host::Statistics& stats, bool final);

// A failure of the writer, with its number in the details ("status", uint) and in words.
// `opening`: nothing has been written yet.
void PostFailure(GstElement* element, HRESULT status, const std::string& words, bool opening);
// The same of what does not end the recording.
void PostWarning(GstElement* element, HRESULT status, const std::string& words);
// Caps, segments or buffers that cannot be taken.
void PostStreamError(GstElement* element, const std::string& sentence, const std::string& debug);

}  // namespace xv::gst
