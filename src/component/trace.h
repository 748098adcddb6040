#pragma once

#include <string>

#include "base/ref.h"
#include "base/status.h"
#include "component/trace_text.h"

// The trace of the component path, for the sink that the host has set. Any thread.
namespace xv {

// Null for none takes it away.
void SetTraceSink(IXvTraceSink* sink);
// The sink in force, or null.
Ref<IXvTraceSink> TraceSink();

// Ask this ahead of any formatting: one load where nobody listens.
bool TraceWanted();
void TraceLine(const std::string& line);
// "Name arguments = 0x80004005".
void TraceResult(const char* name, const std::string& arguments, Status result);
// The same, built only where somebody listens: `arguments` gives the text.
template <class Arguments>
void TraceCall(const char* name, Arguments&& arguments, Status result) {
  if (TraceWanted()) TraceResult(name, arguments(), result);
}

}  // namespace xv
