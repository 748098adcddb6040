#include "recording.h"

#include <utility>

#include "xvwriter/captions.hpp"
#include "xvwriter/list.hpp"

namespace xv::gst {
namespace {

host::Ticks TicksOf(std::int64_t nanoseconds) {
  constexpr std::int64_t kNanoseconds = GST_SECOND / kTimeUnitsPerSecond;
  return host::Ticks((nanoseconds + kNanoseconds / 2) / kNanoseconds);
}

void AddPicture(const Picture& picture, host::FrameBuilder* builder) {
  const XV_VID_PROPS& vid = picture.props;
  builder->Video(vid.fccColor, vid.nWidth, vid.nHeight, vid.dblRate, picture.data, picture.bytes,
                 picture.keep, picture.rowBytes);
  builder->Interlace(static_cast<eXvInterlace>(vid.eInterlace));
  builder->Aspect(vid.nAspectX, vid.nAspectY);
  if (const auto& code = picture.timecode) {
    builder->Timecode(code->hour, code->minute, code->second, code->frame, code->dropFrame);
  }
}

void AddSound(std::vector<std::uint8_t>&& samples, const SoundLayout& sound,
              host::FrameBuilder* builder) {
  const auto keep = std::make_shared<const std::vector<std::uint8_t>>(std::move(samples));
  const SoundFormat& format = sound.format;
  builder->Audio(format.channels, format.rate, format.bits, keep->data(), keep->size(), keep,
                 sound.trackMask);
}

}  // namespace

void Recording::Prepare(RecordingTarget target) {
  target_ = std::move(target);
  captionCount_ = 0;
}

HRESULT Recording::Open(const std::string& streamAttributes) {
  std::string text = "embed_cc=true" + streamAttributes;
  const bool chooses =
      !target_.format.empty() || !target_.videoCodec.empty() || !target_.audioCodec.empty();
  if (chooses) {
    const auto presets =
        host::PresetText(writer_, target_.format, target_.videoCodec, target_.audioCodec);
    if (!presets) return XV_E_NOT_FOUND;
    text += " " + *presets;
  }
  const HRESULT started =
      writer_.Start(target_.location, text + " " + target_.properties + " " + target_.attributes);
  if (Succeeded(started)) open_ = true;
  return started;
}

HRESULT Recording::Put(CollectedFrame&& frame, const SoundLayout& sound,
                       const std::string& streamAttributes) {
  if (!open_) {
    const HRESULT opened = Open(streamAttributes);
    if (Failed(opened)) return opened;
  }
  host::FrameBuilder builder;
  if (frame.picture) AddPicture(*frame.picture, &builder);
  if (!frame.sound.empty()) AddSound(std::move(frame.sound), sound, &builder);
  builder.Time(TicksOf(frame.start), TicksOf(frame.stop),
               frame.breaks ? std::uint32_t{eXvTF_Break} : 0);
  HRESULT built = S_OK;
  const host::Ptr<IXvFrame> made = std::move(builder).Build(&built);
  if (Succeeded(built) && frame.picture && frame.picture->captions) {
    built = host::AddCaptions(made, *frame.picture->captions, frame.picture->props.dblRate,
                              captionCount_++);
  }
  return Failed(built) ? built : writer_.Put(made);
}

HRESULT Recording::Stop() {
  if (!open_.exchange(false)) return S_FALSE;
  return writer_.Stop();
}

std::string Recording::Words(HRESULT status) const {
  const std::string noted = writer_.LastError();
  return host::Describe(status) + (noted.empty() ? "" : " " + noted);
}

}  // namespace xv::gst
