#pragma once

#include <cstdint>
#include <string>

#include "base/status.h"
#include "platform/file.h"
#include "xvwriter/media.h"

namespace xv {

// Writes interleaved samples, as the host gives them, into a RIFF/WAVE file. PCM has format tag 1
// and float tag 3; more than 2 channels or more than 16 bits of PCM use WAVE_FORMAT_EXTENSIBLE. The
// sizes are patched at Close; beyond 4 GiB the file becomes RF64 (EBU Tech 3306), for which a
// "JUNK" chunk keeps the room of "ds64" from the start. They are also patched now and then on the
// way, so that a recording that was cut off still reads. One caller at a time.
class WavWriter {
 public:
  static constexpr std::uint64_t kMaxRiffBytes = 0xFFFFFFFE;

  // `maxRiffBytes`: a longer file is RF64.
  explicit WavWriter(std::uint64_t maxRiffBytes = kMaxRiffBytes) : maxRiffBytes_(maxRiffBytes) {}
  ~WavWriter();
  WavWriter(const WavWriter&) = delete;
  WavWriter& operator=(const WavWriter&) = delete;

  // Creates the file anew. E_INVALIDARG for properties that are not valid audio.
  Status Open(const std::string& path, const XV_AUD_PROPS& format);
  bool IsOpen() const { return open_; }
  // E_UNEXPECTED when not open. The first failure stands for all later blocks: the sizes in the
  // header fit what was written before it.
  Status Write(const std::uint8_t* data, std::uint32_t bytes);
  // Patches the sizes and closes; every step runs, the first failure is given.
  Status Close();

 private:
  Status PatchSizes();

  std::uint64_t maxRiffBytes_;
  File file_;
  bool open_ = false;
  Status failure_;
  std::uint32_t blockBytes_ = 1;  // a sample of all channels
  std::int64_t headerBytes_ = 0;  // up to the first sample
  std::int64_t factOffset_ = 0;   // of the sample count in "fact", 0 without that chunk
  std::int64_t dataBytes_ = 0;
  std::int64_t patchedBytes_ = 0;  // what the sizes in the file stand for
};

}  // namespace xv
