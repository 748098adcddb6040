#pragma once

#include "xvrecord/options.h"
#include "xvrecord/stop_signals.h"
#include "xvwriter/host.hpp"

namespace xvrecord {

// Records the input into the output, until its end, a failure or a signal. Gives the exit status;
// throws InputError and UsageError.
int Record(const Options& options, StopSignals& signals, xv::host::Writer& writer);

}  // namespace xvrecord
