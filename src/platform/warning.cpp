#include "platform/warning.h"

#include <cstdio>
#include <mutex>

namespace xv {
namespace {

struct Handler {
  XvWarningHandler call = nullptr;
  void* context = nullptr;
};

std::mutex handlerLock;  // guards `current`; not held during a call
Handler current;

}  // namespace

void SetWarningHandler(XvWarningHandler handler, void* context) {
  const std::scoped_lock lock(handlerLock);
  current = {handler, context};
}

void Warn(const std::string& text) noexcept {
  Handler handler;
  {
    const std::scoped_lock lock(handlerLock);
    handler = current;
  }
  if (handler.call != nullptr) {
    handler.call(text.c_str(), handler.context);
    return;
  }
  const bool ended = !text.empty() && text.back() == '\n';
  std::fputs(text.c_str(), stderr);
  if (!ended) std::fputc('\n', stderr);
}

}  // namespace xv

void XvSetWarningHandler(xv::XvWarningHandler handler, void* context) {
  xv::SetWarningHandler(handler, context);
}
