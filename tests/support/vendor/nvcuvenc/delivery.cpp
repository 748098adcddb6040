#include "support/vendor/nvcuvenc/delivery.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstring>

#include "support/vendor/ledger.h"

namespace xv::nvcuvenc {

Delivery::Delivery(const H264Options& h264, const DeliveryOptions& options,
                   const CudaCallbacks& callbacks, void* user)
    : encoder_(h264), options_(options), callbacks_(callbacks), user_(user), thread_([this] {
        Run();
      }) {}

Delivery::~Delivery() {
  {
    const std::lock_guard held(lock_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void Delivery::Put(Job job) {
  {
    const std::lock_guard held(lock_);
    jobs_.push_back(std::move(job));
  }
  changed_.notify_all();
}

std::optional<Job> Delivery::NextJob() {
  std::unique_lock held(lock_);
  changed_.wait(held, [this] { return stop_ || !jobs_.empty(); });
  if (stop_) return std::nullopt;
  Job job = std::move(jobs_.front());
  jobs_.pop_front();
  return job;
}

void Delivery::Run() {
  try {
    while (const std::optional<Job> job = NextJob()) Encode(*job);
  } catch (const std::exception& fault) {
    vendor::Ledger::Get().Broke(fmt::format("the stand-in failed: {}", fault.what()));
  }
}

void Delivery::Encode(const Job& job) {
  if (job.last) {
    encoder_.End();
  } else {
    encoder_.Put(job.picture);
  }
  for (AccessUnit unit; encoder_.Next(&unit);) ready_.push_back(std::move(unit));
  const std::size_t held = job.last ? 0 : static_cast<std::size_t>(options_.delay);
  while (ready_.size() > held) {
    Deliver(ready_.front());
    ready_.pop_front();
  }
}

void Delivery::Deliver(const AccessUnit& unit) {
  if (++delivered_ >= options_.stuck && options_.stuck > 0) return;
  std::this_thread::sleep_for(std::chrono::milliseconds(options_.lateMs));
  std::size_t begin = 0;
  for (int part = 1; part <= options_.begins; ++part) {
    const std::size_t end = unit.bytes.size() * static_cast<std::size_t>(part) /
                            static_cast<std::size_t>(options_.begins);
    if (part == options_.begins) finished_ = unit.number;
    DeliverPart(unit, begin, end);
    begin = end;
  }
}

void Delivery::DeliverPart(const AccessUnit& unit, std::size_t begin, std::size_t end) {
  const CudaFrameEvent event{unit.number, !unit.key ? 2 : unit.number == 0 ? 0 : 1};
  callbacks_.beginFrame(&event, user_);
  while (begin < end) {
    std::int32_t room = 0;
    std::uint8_t* buffer = callbacks_.acquire(&room, user_);
    if (buffer == nullptr || room <= 0) {
      vendor::Ledger::Get().Broke("no place for an access unit");
      break;
    }
    std::size_t length = std::min(end - begin, static_cast<std::size_t>(room));
    if (options_.chunk > 0) length = std::min(length, static_cast<std::size_t>(options_.chunk));
    std::memcpy(buffer, unit.bytes.data() + begin, length);
    callbacks_.release(static_cast<std::int32_t>(length), buffer, user_);
    begin += length;
  }
  callbacks_.endFrame(&event, user_);
}

}  // namespace xv::nvcuvenc
