#pragma once

#include "catalogue/hardware_report.h"

namespace xv {

// Asks this machine's vendors: at once where their libraries are missing, else as long as a driver
// takes to start. Any thread.
HardwareReport ProbeHardware();

}  // namespace xv
