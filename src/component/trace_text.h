#pragma once

#include <cstddef>
#include <cstdint>

#include "xvwriter/component.h"

// Packets, streams, times and properties as one line of text for the trace. Each writes into the
// caller's buffer, which it gives back; nothing here fails.
namespace xv {

// Bytes of a buffer for any of these texts, the zero included; longer ones are cut.
inline constexpr std::size_t kTraceText = 512;

// `stamp` (100 ns) in seconds: "1.000'0001", the part below a millisecond only where there is one.
// "min" and "max" for the two ends of the range. Null for a null buffer.
char* FormatTime(std::int64_t stamp, char* buffer);

// "XV_STREAM_INFO(NULL)" for null.
char* FormatStreamInfo(const XV_STREAM_INFO* info, char* buffer);

// "IXfPacket=NULL" for null. `withStream` puts the packet's stream in the brackets.
char* FormatPacket(IXfPacket* packet, char* buffer, bool withStream);

// "disabled" for video that is, "" for what is not valid.
char* FormatVideoProps(const XV_VID_PROPS* vid, char* buffer);
char* FormatAudioProps(const XV_AUD_PROPS* aud, char* buffer);

}  // namespace xv
