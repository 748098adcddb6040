#include "soak/lossless_recording.h"

#include <chrono>
#include <memory>
#include <string_view>

#include "contracts/av_handles.h"

namespace xv::soak {
namespace {

constexpr int kRate = 25, kSamplesPerFrame = 1920;
constexpr std::uint64_t kSeed = 14695981039346656037U, kPrime = 1099511628211U;  // FNV-1a

std::uint64_t Add(std::uint64_t sum, const std::uint8_t* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) sum = (sum ^ bytes[i]) * kPrime;
  return sum;
}

std::uint64_t SumOf(const AVFrame& frame) {
  std::uint64_t sum = kSeed;
  for (int plane = 0; plane < 3; ++plane) {
    const int shift = plane == 0 ? 0 : 1;
    for (int y = 0; y < frame.height >> shift; ++y) {
      sum = Add(sum, frame.data[plane] + std::ptrdiff_t{y} * frame.linesize[plane],
                static_cast<std::size_t>(frame.width >> shift));
    }
  }
  return sum;
}

void Take(AVCodecContext& decoder, const AVPacket* packet, std::vector<std::uint64_t>* sums) {
  if (avcodec_send_packet(&decoder, packet) < 0) return;
  const AvPtr<AVFrame> frame(av_frame_alloc());
  while (avcodec_receive_frame(&decoder, frame.get()) >= 0) sums->push_back(SumOf(*frame));
}

}  // namespace

std::vector<std::uint8_t> NoisePicture(std::uint64_t number) {
  std::vector<std::uint8_t> bytes(kWidth * kHeight * 3 / 2);
  std::uint64_t state = number * kPrime + kSeed;
  for (std::uint8_t& byte : bytes) {
    state = state * 6364136223846793005U + 1442695040888963407U;  // Knuth's MMIX
    byte = static_cast<std::uint8_t>(state >> 56);
  }
  return bytes;
}

HRESULT NoiseFeed::Push(host::Writer& writer) {
  const auto picture = std::make_shared<const std::vector<std::uint8_t>>(NoisePicture(next_++));
  static const auto silence = std::make_shared<const std::vector<std::uint8_t>>(
      static_cast<std::size_t>(kSamplesPerFrame) * 4, std::uint8_t{0});
  host::FrameBuilder builder;
  builder.Video(kFccI420, kWidth, kHeight, kRate, picture->data(), picture->size(), picture);
  builder.Audio(2, kSamplesPerFrame * kRate, 16, silence->data(), silence->size(), silence);
  builder.Time(std::chrono::milliseconds(1000 / kRate) * frames_,
               std::chrono::milliseconds(1000 / kRate) * (frames_ + 1));
  const HRESULT put = writer.Put(std::move(builder));
  if (put != S_OK) return put;
  ++frames_;
  accepted_.push_back(Add(kSeed, picture->data(), picture->size()));
  return put;
}

std::vector<std::uint64_t> DecodedSums(const std::string& path) {
  AVFormatContext* opened = nullptr;
  if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) return {};
  const AvInput input(opened);
  if (avformat_find_stream_info(input.get(), nullptr) < 0) return {};
  const AVCodec* codec = nullptr;
  const int stream = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
  if (stream < 0) return {};
  const AvPtr<AVCodecContext> decoder(avcodec_alloc_context3(codec));
  avcodec_parameters_to_context(decoder.get(), input->streams[stream]->codecpar);
  if (avcodec_open2(decoder.get(), codec, nullptr) < 0) return {};
  std::vector<std::uint64_t> sums;
  const AvPtr<AVPacket> packet(av_packet_alloc());
  while (av_read_frame(input.get(), packet.get()) >= 0) {
    if (packet->stream_index == stream) Take(*decoder, packet.get(), &sums);
    av_packet_unref(packet.get());
  }
  Take(*decoder, nullptr, &sums);
  return sums;
}

}  // namespace xv::soak
