#include "frames/owned_frame.h"

#include "base/auto_obj_base.h"
#include "frames/host_frame.h"
#include "media/normalise.h"
#include "media/validity.h"
#include "picture/image_view.h"

namespace xv {
namespace {

// Kernels may not read past a picture, but libraries do.
constexpr std::size_t kPadding = 64;

// Gives a block back with the frame that it belongs to.
class PooledMemory final : public AutoObjBase<PooledMemory> {
 public:
  PooledMemory(std::shared_ptr<MemoryPool> pool, std::uint8_t* block)
      : pool_(std::move(pool)), block_(block) {}
  ~PooledMemory() override { pool_->GiveBack(block_); }

 private:
  std::shared_ptr<MemoryPool> pool_;
  std::uint8_t* block_;
};

}  // namespace

Status FrameMemory::MakeFrame(const XV_TIME& time, const XV_AV_PROPS& props, std::size_t bytes,
                              Ref<IXvFrame>* frame, std::uint8_t** data) {
  if (!pool_ || pool_->bytes() != bytes + kPadding) {
    pool_ = std::make_shared<MemoryPool>(bytes + kPadding);
  }
  *data = pool_->Take();
  if (*data == nullptr) return E_OUTOFMEMORY;
  const Ref<PooledMemory> owner = MakeRef<PooledMemory>(pool_, *data);
  XvFrameDesc desc{};
  desc.cbSize = sizeof desc;
  desc.time = time;
  desc.props = props;
  desc.video = *data;
  desc.cbVideo = static_cast<std::uint32_t>(bytes);
  desc.owner = owner.get();
  const Ref<IXvFrameFactory> factory = FrameFactory();
  if (!factory) return XV_E_NO_FRAME_FACTORY;
  return factory->FrameCreate(&desc, frame->Receive());
}

Status ReadContents(IXvFrame* frame, FrameContents* contents) {
  std::uint32_t audioBytes = 0;
  const std::uint8_t* audio = nullptr;
  RETURN_IF_FAILED(frame->FrameAllGet(&contents->time, &contents->props, &audioBytes, &audio,
                                      &contents->videoBytes, &contents->video));
  XV_VID_PROPS& vid = contents->props.vid;
  if (!VideoPropsValid(vid, true) || !SizeIsPlausible(vid)) return XV_E_NO_PIXEL_FORMAT;
  if (contents->video == nullptr) return E_UNEXPECTED;
  NormaliseVideoProps(&vid, true);
  if (vid.nWidth < 1 || vid.nHeight == 0 || vid.nRowBytes < 1) return XV_E_NO_PIXEL_FORMAT;
  return PictureSpan(vid) > contents->videoBytes ? Status(E_INVALIDARG) : Status(S_OK);
}

}  // namespace xv
