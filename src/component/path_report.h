#pragma once

#include <cstdint>

#include "output/output_report.h"

namespace xv {

// Where the component path counts and tells. Thread-safe.
class PathReport : public OutputReport {
 public:
  virtual void CountFrame() = 0;
  // A packet that was left out because its stamp is not behind the last one.
  virtual void CountLatePacket() = 0;
  // A packet that the multiplexer took.
  virtual void CountPacket(int stream, std::int64_t bytes) = 0;
  // What the encoder needed for a picture, the multiplexer for a packet; nanoseconds.
  virtual void AddEncodeTime(std::int64_t time) = 0;
  virtual void AddWriteTime(std::int64_t time) = 0;

 protected:
  ~PathReport() = default;
};

}  // namespace xv
