#pragma once

#include <string>

#include "output/interrupt.h"

namespace xv {

// Waits until the resolver has answered for the host of `url`. FFmpeg's protocols ask it in a call
// that nothing breaks off; behind this one they have the answer at once. Within a call of
// `interrupt`: false when that breaks it off. What the answer is, and a URL without a host, is for
// the protocol to judge.
bool AwaitHostName(const std::string& url, IoInterrupt& interrupt);

}  // namespace xv
