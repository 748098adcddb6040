#pragma once

#include "base/ref.h"
#include "xvwriter/frames.h"

namespace xv {

// The built-in frame factory: frames that share the host's memory (IXvFrame, IXfFrame and
// IXvFrameExtras in one object). Process-wide, alive as long as the module.
Ref<IXvFrameFactory> BuiltInFrameFactory();

// The factory in force: the host's, else the built-in one.
Ref<IXvFrameFactory> FrameFactory();

}  // namespace xv
