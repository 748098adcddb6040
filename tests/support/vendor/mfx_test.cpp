#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>
#include <va/va.h>

#include <deque>
#include <thread>
#include <utility>

#include "support/temporary_folder.h"
#include "support/vendor/mfx/mfx_header.h"
#include "support/vendor/vendor_control.h"

// A small client of Intel's dispatcher, over the stand-ins for its runtime and for libva.
namespace xv::mfx {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int kWidth = 64, kHeight = 48;

struct Library {
  explicit Library(const char* name)
      : handle(dlopen((std::string(VENDOR_FOLDER "/") + name).c_str(), RTLD_NOW)) {
    EXPECT_NE(handle, nullptr) << dlerror();
  }
  ~Library() { dlclose(handle); }
  template <class Function>
  Function* Find(const char* name) const {
    return reinterpret_cast<Function*>(dlsym(handle, name));
  }
  void* const handle;
};

mfxVideoParam Param() {
  mfxVideoParam param{};
  param.AsyncDepth = 2;
  param.IOPattern = MFX_IOPATTERN_IN_SYSTEM_MEMORY;
  param.mfx.CodecId = MFX_CODEC_AVC;
  param.mfx.RateControlMethod = MFX_RATECONTROL_VBR;
  param.mfx.TargetKbps = param.mfx.MaxKbps = 500;
  param.mfx.GopPicSize = 10;
  param.mfx.GopRefDist = 3;
  mfxFrameInfo& info = param.mfx.FrameInfo;
  info.FourCC = MFX_FOURCC_NV12;
  info.ChromaFormat = MFX_CHROMAFORMAT_YUV420;
  info.PicStruct = MFX_PICSTRUCT_PROGRESSIVE;
  info.Width = info.CropW = kWidth;
  info.Height = info.CropH = kHeight;
  info.FrameRateExtN = 25;
  info.FrameRateExtD = 1;
  return param;
}

class MfxStandIn : public testing::Test {
 protected:
  MfxStandIn() { vendor::Reset(); }

  // Whatever the dispatcher takes for it.
  mfxStatus Open(mfxIMPL implementation) {
    mfxVersion version = {{0, 1}};
    return MFXInit(implementation, &version, &session_);
  }
  mfxStatus Close() { return MFXClose(std::exchange(session_, nullptr)); }
  void TearDown() override {
    if (session_ != nullptr) Close();
    EXPECT_THAT(vendor::Held(), IsEmpty());
  }
  mfxFrameSurface1 Surface(int i) {
    memory_.emplace_back(kWidth * kHeight * 3 / 2, static_cast<mfxU8>(40 + i));
    mfxFrameSurface1 surface{};
    surface.Info = Param().mfx.FrameInfo;
    surface.Data.Pitch = kWidth;
    surface.Data.Y = memory_.back().data();
    surface.Data.UV = surface.Data.Y + kWidth * kHeight;
    surface.Data.TimeStamp = static_cast<mfxU64>(i) * 3600;
    return surface;
  }

  const test::ScopedVariable media_{"INTEL_MEDIA_RUNTIME", "MSDK"};
  // Each dispatcher knows one of the two names of the software.
  const Library software_{"libmfxsw64.so.1"}, successor_{"libvplswref64.so.1"};
  const Library hardware_{"libmfxhw64.so.1"};
  std::deque<std::vector<mfxU8>> memory_;
  mfxSession session_ = nullptr;
};

TEST_F(MfxStandIn, EncodesInDecodingOrderWithItsDelay) {
  ASSERT_EQ(Open(MFX_IMPL_SOFTWARE), MFX_ERR_NONE);
  mfxVideoParam param = Param();
  ASSERT_EQ(MFXVideoENCODE_Init(session_, &param), MFX_ERR_NONE);
  ASSERT_EQ(MFXVideoENCODE_GetVideoParam(session_, &param), MFX_ERR_NONE);
  std::deque<mfxFrameSurface1> surfaces;
  std::deque<mfxBitstream> outputs;
  std::deque<std::vector<mfxU8>> buffers;
  std::vector<mfxU64> stamps;
  std::vector<mfxI64> decoding;
  bool ended = false;
  for (int i = 0; !ended; ++i) {
    if (i < 12) surfaces.push_back(Surface(i));
    buffers.emplace_back(param.mfx.BufferSizeInKB * 1000U);
    mfxBitstream& output = outputs.emplace_back();
    output.Data = buffers.back().data();
    output.MaxLength = static_cast<mfxU32>(buffers.back().size());
    mfxSyncPoint sync = nullptr;
    const mfxStatus status = MFXVideoENCODE_EncodeFrameAsync(
        session_, nullptr, i < 12 ? &surfaces.back() : nullptr, &output, &sync);
    ended = i >= 12 && status == MFX_ERR_MORE_DATA;
    if (sync == nullptr) continue;
    ASSERT_EQ(MFXVideoCORE_SyncOperation(session_, sync, 1000), MFX_ERR_NONE);
    EXPECT_GT(output.DataLength, 0U);
    stamps.push_back(output.TimeStamp / 3600);
    decoding.push_back(output.DecodeTimeStamp / 3600);
  }
  EXPECT_EQ(stamps, (std::vector<mfxU64>{0, 3, 1, 2, 6, 4, 5, 9, 7, 8, 10, 11}));
  EXPECT_EQ(decoding.front(), -1);
  EXPECT_TRUE(std::ranges::is_sorted(decoding));
  for (const mfxFrameSurface1& surface : surfaces) EXPECT_EQ(surface.Data.Locked, 0);
  EXPECT_THAT(vendor::BrokenRules(), IsEmpty());
}

// What a client does wrong is told, each time under what it did.
TEST_F(MfxStandIn, FindsWhatAClientDoesWrong) {
  ASSERT_EQ(Open(MFX_IMPL_HARDWARE | MFX_IMPL_VIA_VAAPI), MFX_ERR_NONE);
  mfxVideoParam param = Param();
  mfxFrameAllocRequest request{};
  EXPECT_EQ(MFXVideoENCODE_QueryIOSurf(session_, &param, &request), MFX_ERR_INVALID_VIDEO_PARAM);
  ASSERT_EQ(Close(), MFX_ERR_NONE);
  ASSERT_EQ(Open(MFX_IMPL_SOFTWARE), MFX_ERR_NONE);
  param.mfx.FrameInfo.Width = kWidth + 1;
  param.mfx.FrameInfo.PicStruct = MFX_PICSTRUCT_FIELD_TFF;
  EXPECT_EQ(MFXVideoENCODE_Init(session_, &param), MFX_ERR_INVALID_VIDEO_PARAM);
  param = Param();
  param.mfx.GopRefDist = 1;
  ASSERT_EQ(MFXVideoENCODE_Init(session_, &param), MFX_ERR_NONE);
  std::vector<mfxU8> bytes(100000);
  mfxBitstream output{};
  output.Data = bytes.data();
  output.MaxLength = 100;
  mfxSyncPoint sync = nullptr;
  mfxFrameSurface1 before = Surface(0), first = Surface(1), second = Surface(112);
  const auto give = [&](mfxFrameSurface1* surface) {
    return MFXVideoENCODE_EncodeFrameAsync(session_, nullptr, surface, &output, &sync);
  };
  EXPECT_EQ(give(&before), MFX_ERR_NOT_ENOUGH_BUFFER);
  output.MaxLength = static_cast<mfxU32>(bytes.size());
  ASSERT_EQ(give(&before), MFX_ERR_MORE_DATA);
  ASSERT_EQ(give(&first), MFX_ERR_NONE);
  EXPECT_EQ(first.Data.Locked, 1);
  EXPECT_EQ(give(&second), MFX_ERR_UNDEFINED_BEHAVIOR);
  EXPECT_EQ(give(&first), MFX_ERR_UNDEFINED_BEHAVIOR);
  memory_.front().front() = 0;
  EXPECT_EQ(MFXVideoCORE_SyncOperation(session_, nullptr, 0), MFX_ERR_UNDEFINED_BEHAVIOR);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const std::vector<std::string> broken = vendor::BrokenRules();
  for (const char* rule : {"no VA display", "Width is 65", "Height is 48", "pictures behind",
                           "is in use is given again", "was changed while", "sync point"}) {
    EXPECT_THAT(broken, Contains(HasSubstr(rule)));
  }
  // Closing lets go of the surfaces, which must still be there.
  EXPECT_EQ(Close(), MFX_ERR_NONE);
  EXPECT_EQ(first.Data.Locked, 0);
}

}  // namespace
}  // namespace xv::mfx
