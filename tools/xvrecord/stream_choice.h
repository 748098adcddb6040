#pragma once

#include <vector>

#include "xvrecord/input.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace xvrecord {

// The streams to record, by index: at most one of pictures, sound in the order of the tracks.
// Without a map the best pictures and all sound of their programme, or its best track alone.
// An entry of the map is "v", "a" (all sound), "v:N", "a:N" (counted among their kind from 0) or
// the index of a stream; "0:" may stand in front of each. Throws UsageError for an entry that
// names nothing.
std::vector<int> ChooseStreams(const AVFormatContext& input, const MediaOptions& options);

// Without a map: tracks stay behind because one is enough.
bool LeavesTracksOut(const AVFormatContext& input, const MediaOptions& options);

}  // namespace xvrecord
