#include "audio/wav_writer.h"

#include <cstdlib>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "audio/sample_convert.h"
#include "media/validity.h"

namespace xv {
namespace {

constexpr std::uint16_t kTagPcm = 1;
constexpr std::uint16_t kTagFloat = 3;
constexpr std::uint16_t kTagExtensible = 0xFFFE;
// KSDATAFORMAT_SUBTYPE_*: the tag, then these 14 bytes.
constexpr std::uint8_t kSubTypeTail[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                           0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
constexpr std::uint32_t kSizeInDs64 = 0xFFFFFFFF;
constexpr std::uint32_t kDs64Bytes = 28;  // RIFF size, data size, sample count, table length
constexpr std::int64_t kRoomOffset = 12;  // of the JUNK or ds64 chunk
constexpr std::int64_t kPatchEvery = 1 << 20;

class LittleEndian {
 public:
  void Text(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }
  void Word(std::uint64_t value, int count) {
    for (int i = 0; i < count; ++i) bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
  void U16(std::uint32_t value) { Word(value, 2); }
  void U32(std::uint32_t value) { Word(value, 4); }
  void U64(std::uint64_t value) { Word(value, 8); }
  void Bytes(const std::uint8_t* data, std::size_t count) {
    bytes_.insert(bytes_.end(), data, data + count);
  }
  const std::vector<std::uint8_t>& bytes() const { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
};

// Speaker positions of the usual sets; others have none.
std::uint32_t ChannelMask(int channels) {
  switch (channels) {
    case 1:
      return 0x4;
    case 2:
      return 0x3;
    case 4:
      return 0x33;
    case 6:
      return 0x3F;
    case 8:
      return 0x63F;
    default:
      return 0;
  }
}

void PutFormat(const XV_AUD_PROPS& format, LittleEndian& out) {
  const bool isFloat = format.nBitsPerSample < 0;
  const auto bits = static_cast<std::uint32_t>(std::abs(format.nBitsPerSample));
  const auto bytes = static_cast<std::uint32_t>(HostSampleBytes(format.nBitsPerSample));
  const auto channels = static_cast<std::uint32_t>(format.nChannels);
  const auto rate = static_cast<std::uint32_t>(format.nSamplesPerSec);
  const bool extensible = channels > 2 || (!isFloat && bits > 16);
  const std::uint16_t tag = isFloat ? kTagFloat : kTagPcm;
  out.Text("fmt ");
  out.U32(extensible ? 40 : isFloat ? 18 : 16);
  out.U16(extensible ? kTagExtensible : tag);
  out.U16(channels);
  out.U32(rate);
  out.U32(rate * channels * bytes);
  out.U16(channels * bytes);
  out.U16(bytes * 8);
  if (extensible) {
    out.U16(22);
    out.U16(bits);
    out.U32(ChannelMask(format.nChannels));
    out.U16(tag);
    out.Bytes(kSubTypeTail, sizeof kSubTypeTail);
  } else if (isFloat) {
    out.U16(0);
  }
}

}  // namespace

WavWriter::~WavWriter() { static_cast<void>(Close()); }

Status WavWriter::Open(const std::string& path, const XV_AUD_PROPS& format) {
  if (!AudioPropsValid(format, true)) return E_INVALIDARG;
  RETURN_IF_FAILED(Close());
  LittleEndian out;
  out.Text("RIFF");
  out.U32(0);
  out.Text("WAVEJUNK");
  out.U32(kDs64Bytes);
  for (std::uint32_t i = 0; i < kDs64Bytes; i += 4) out.U32(0);
  PutFormat(format, out);
  factOffset_ = 0;
  if (format.nBitsPerSample < 0) {
    out.Text("fact");
    out.U32(4);
    factOffset_ = static_cast<std::int64_t>(out.bytes().size());
    out.U32(0);
  }
  out.Text("data");
  out.U32(0);

  RETURN_IF_FAILED(file_.Create(path));
  if (const Status status = file_.Write(out.bytes().data(), out.bytes().size()); status.Failed()) {
    static_cast<void>(file_.Close());
    return status;
  }
  open_ = true;
  failure_ = S_OK;
  headerBytes_ = static_cast<std::int64_t>(out.bytes().size());
  blockBytes_ =
      static_cast<std::uint32_t>(HostSampleBytes(format.nBitsPerSample) * format.nChannels);
  dataBytes_ = patchedBytes_ = 0;
  return PatchSizes();
}

Status WavWriter::Write(const std::uint8_t* data, std::uint32_t bytes) {
  if (!open_) return E_UNEXPECTED;
  RETURN_IF_FAILED(failure_);
  failure_ = file_.Write(data, bytes);
  RETURN_IF_FAILED(failure_);
  dataBytes_ += bytes;
  return dataBytes_ - patchedBytes_ < kPatchEvery ? Status(S_OK) : PatchSizes();
}

Status WavWriter::PatchSizes() {
  const auto dataBytes = static_cast<std::uint64_t>(dataBytes_);
  const std::uint64_t riffBytes =
      static_cast<std::uint64_t>(headerBytes_) - 8 + dataBytes + (dataBytes & 1);
  const std::uint64_t samples = dataBytes / blockBytes_;
  const bool large = riffBytes > maxRiffBytes_;
  LittleEndian front;
  front.Text(large ? "RF64" : "RIFF");
  front.U32(large ? kSizeInDs64 : static_cast<std::uint32_t>(riffBytes));
  LittleEndian room;
  room.Text(large ? "ds64" : "JUNK");
  room.U32(kDs64Bytes);
  room.U64(large ? riffBytes : 0);
  room.U64(large ? dataBytes : 0);
  room.U64(large ? samples : 0);
  LittleEndian data;
  data.U32(large ? kSizeInDs64 : static_cast<std::uint32_t>(dataBytes_));
  LittleEndian fact;
  fact.U32(large ? kSizeInDs64 : static_cast<std::uint32_t>(samples));

  // "ds64" first: no moment at which the file claims sizes that it does not have.
  Status status = file_.WriteAt(kRoomOffset, room.bytes().data(), room.bytes().size());
  status.Update(file_.WriteAt(0, front.bytes().data(), front.bytes().size()));
  status.Update(file_.WriteAt(headerBytes_ - 4, data.bytes().data(), data.bytes().size()));
  if (factOffset_ != 0) {
    status.Update(file_.WriteAt(factOffset_, fact.bytes().data(), fact.bytes().size()));
  }
  patchedBytes_ = dataBytes_;
  return status;
}

Status WavWriter::Close() {
  if (!open_) return S_OK;
  open_ = false;
  Status status;
  if ((dataBytes_ & 1) != 0) status.Update(file_.Write("", 1));
  status.Update(PatchSizes());
  status.Update(file_.Close());
  return status;
}

}  // namespace xv
