#pragma once

#include "component/path_report.h"
#include "session/session_stats.h"

namespace xv {

// The component path's counts in the session's statistics.
class StatsReport final : public PathReport {
 public:
  explicit StatsReport(SessionStats& stats) : stats_(stats) {}

  void Fail(std::string_view stage, std::string_view words, Status status) override {
    stats_.Fail(stage, words, status);
  }
  void CountDrop() override { stats_.CountDrop(); }
  void CountFrame() override { stats_.framesIn.fetch_add(1, std::memory_order_relaxed); }
  void CountLatePacket() override {
    stats_.ptsErrors.fetch_add(1, std::memory_order_relaxed);
    stats_.CountDrop();
  }
  void CountPacket(int stream, std::int64_t bytes) override { stats_.CountPacket(stream, bytes); }
  void AddEncodeTime(std::int64_t time) override { stats_.encodeTime.Add(time); }
  void AddWriteTime(std::int64_t time) override { stats_.writeTime.Add(time); }

 private:
  SessionStats& stats_;
};

}  // namespace xv
