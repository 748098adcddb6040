#include "component/trace.h"

#include <fmt/format.h>

#include <atomic>
#include <mutex>

#include "base/guard.h"
#include "base/text.h"

namespace xv {
namespace {

std::atomic<bool> wanted{false};
std::mutex sinkLock;  // guards CurrentSink(); a leaf, not held during a call of the sink

// Never destroyed: other threads may trace while the process ends.
Ref<IXvTraceSink>& CurrentSink() {
  static auto& sink = *new Ref<IXvTraceSink>;
  return sink;
}

}  // namespace

void SetTraceSink(IXvTraceSink* sink) {
  Ref<IXvTraceSink> old = Ref<IXvTraceSink>::Retain(sink);
  const std::lock_guard guard(sinkLock);
  std::swap(CurrentSink(), old);
  wanted.store(sink != nullptr, std::memory_order_relaxed);
}

Ref<IXvTraceSink> TraceSink() {
  const std::lock_guard guard(sinkLock);
  return CurrentSink();
}

bool TraceWanted() { return wanted.load(std::memory_order_relaxed); }

void TraceLine(const std::string& line) {
  const Ref<IXvTraceSink> sink = TraceSink();
  if (sink) sink->TraceLine(Utf16FromUtf8(line).c_str());
}

void TraceResult(const char* name, const std::string& arguments, Status result) {
  TraceLine(
      fmt::format("{} {} = 0x{:08X}", name, arguments, static_cast<std::uint32_t>(result.code())));
}

}  // namespace xv

xv::HRESULT XvTraceSinkSet(xv::IXvTraceSink* sink) {
  return xv::Guarded([&]() -> xv::Status {
    xv::SetTraceSink(sink);
    return xv::S_OK;
  });
}
