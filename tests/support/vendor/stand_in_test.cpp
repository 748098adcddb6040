#include <ffnvcodec/dynlink_cuda.h>

#include "support/media_probe.h"
#include "support/peer_process.h"
#include "support/vendor/nvenc_header.h"
#include "support/vendor/vendor_fixture.h"

#include <dlfcn.h>

#include <functional>

// The stand-ins themselves: a client that others wrote encodes on them, and one that breaks rules
// is found out.
namespace xv::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

#ifndef XV_SANITIZED  // a program without the sanitizer cannot load libraries with it
TEST(StandIn, AnotherProgramsClientEncodesWithoutBreakingARule) {
  TemporaryFolder folder;
  const ScopedVariable search("LD_LIBRARY_PATH", VENDOR_FOLDER);
  for (const char* options : {"-bf 3", "-bf 0 -preset p1 -tune ull", "-tune lossless"}) {
    const ScopedVariable words("XV_VENDOR", "report=" + (folder / "report"));
    const ProgramResult run =
        RunProgram({"sh", "-c",
                    std::string("timeout -s KILL 60 ffmpeg -v error -y -f lavfi -i "
                                "testsrc2=size=320x240:rate=25 -frames:v 60 -c:v h264_nvenc ") +
                        options + " " + (folder / "a.mp4")});
    ASSERT_EQ(run.status, 0) << run.err;
    const ProbedStream video = Probe(folder / "a.mp4").Pictures();
    EXPECT_EQ(video.frames, 60);
    EXPECT_EQ(video.errors, 0);
    EXPECT_EQ(folder.Read("report"), "") << options;
  }
}
#endif

// A client that asks for what is right, but for one thing.
class Client {
 public:
  Client() {
    cuda_ = dlopen(VENDOR_FOLDER "/libcuda.so.1", RTLD_NOW | RTLD_LOCAL);
    library_ = dlopen(VENDOR_FOLDER "/libnvidia-encode.so.1", RTLD_NOW | RTLD_LOCAL);
    if (cuda_ == nullptr || library_ == nullptr) throw std::runtime_error(dlerror());
    Function<tcuInit>(cuda_, "cuInit")(0);
    Function<tcuCtxCreate_v2>(cuda_, "cuCtxCreate_v2")(&context_, 0, 0);
    Function<tcuCtxPopCurrent_v2>(cuda_, "cuCtxPopCurrent_v2")(nullptr);
    calls.version = NV_ENCODE_API_FUNCTION_LIST_VER;
    Function<decltype(NvEncodeAPICreateInstance)>(library_, "NvEncodeAPICreateInstance")(&calls);
    NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS open{};
    open.version = NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS_VER;
    open.deviceType = NV_ENC_DEVICE_TYPE_CUDA;
    open.device = context_;
    open.apiVersion = NVENCAPI_VERSION;
    calls.nvEncOpenEncodeSessionEx(&open, &encoder);
    Prepare();
  }
  ~Client() {
    if (!abandoned) calls.nvEncDestroyEncoder(encoder);
    Function<tcuCtxDestroy_v2>(cuda_, "cuCtxDestroy_v2")(context_);
    dlclose(library_);
    dlclose(cuda_);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  NVENCSTATUS Initialize() { return calls.nvEncInitializeEncoder(encoder, &params); }
  void MakeBuffers() {
    calls.nvEncCreateInputBuffer(encoder, &input);
    calls.nvEncCreateBitstreamBuffer(encoder, &output);
    lock.inputBuffer = picture.inputBuffer = input.inputBuffer;
    read.outputBitstream = picture.outputBitstream = output.bitstreamBuffer;
  }
  void Fill() {
    calls.nvEncLockInputBuffer(encoder, &lock);
    if (lock.bufferDataPtr != nullptr) std::memset(lock.bufferDataPtr, 100, lock.pitch * 96);
    picture.inputPitch = lock.pitch;
    calls.nvEncUnlockInputBuffer(encoder, lock.inputBuffer);
  }
  NVENCSTATUS Encode() { return calls.nvEncEncodePicture(encoder, &picture); }
  void Read() {
    calls.nvEncLockBitstream(encoder, &read);
    calls.nvEncUnlockBitstream(encoder, read.outputBitstream);
  }
  void Flush() {
    NV_ENC_PIC_PARAMS end{};
    end.version = NV_ENC_PIC_PARAMS_VER;
    end.encodePicFlags = NV_ENC_PIC_FLAG_EOS;
    calls.nvEncEncodePicture(encoder, &end);
  }
  void DestroyBuffers() {
    calls.nvEncDestroyInputBuffer(encoder, input.inputBuffer);
    calls.nvEncDestroyBitstreamBuffer(encoder, output.bitstreamBuffer);
  }
  void Start() {
    Initialize();
    MakeBuffers();
    Fill();
  }
  void Finish() {
    Flush();
    DestroyBuffers();
  }

  NV_ENCODE_API_FUNCTION_LIST calls{};
  void* encoder = nullptr;
  NV_ENC_CONFIG config{};
  NV_ENC_INITIALIZE_PARAMS params{};
  NV_ENC_CREATE_INPUT_BUFFER input{};
  NV_ENC_CREATE_BITSTREAM_BUFFER output{};
  NV_ENC_LOCK_INPUT_BUFFER lock{};
  NV_ENC_PIC_PARAMS picture{};
  NV_ENC_LOCK_BITSTREAM read{};
  bool abandoned = false;

 private:
  template <typename T>
  static T* Function(void* library, const char* name) {
    return reinterpret_cast<T*>(dlsym(library, name));
  }
  void Prepare() {
    NV_ENC_PRESET_CONFIG preset{};
    preset.version = NV_ENC_PRESET_CONFIG_VER;
    preset.presetCfg.version = NV_ENC_CONFIG_VER;
    calls.nvEncGetEncodePresetConfigEx(encoder, NV_ENC_CODEC_H264_GUID, NV_ENC_PRESET_P1_GUID,
                                       NV_ENC_TUNING_INFO_HIGH_QUALITY, &preset);
    config = preset.presetCfg;
    params.version = NV_ENC_INITIALIZE_PARAMS_VER;
    params.encodeGUID = NV_ENC_CODEC_H264_GUID;
    params.presetGUID = NV_ENC_PRESET_P1_GUID;
    params.tuningInfo = NV_ENC_TUNING_INFO_HIGH_QUALITY;
    params.encodeWidth = params.darWidth = 64;
    params.encodeHeight = params.darHeight = 64;
    params.frameRateNum = 25;
    params.frameRateDen = 1;
    params.enablePTD = 1;
    params.encodeConfig = &config;
    input.version = NV_ENC_CREATE_INPUT_BUFFER_VER;
    input.width = input.height = 64;
    input.bufferFmt = NV_ENC_BUFFER_FORMAT_NV12;
    output.version = NV_ENC_CREATE_BITSTREAM_BUFFER_VER;
    lock.version = NV_ENC_LOCK_INPUT_BUFFER_VER;
    picture.version = NV_ENC_PIC_PARAMS_VER;
    picture.inputWidth = picture.inputHeight = 64;
    picture.bufferFmt = NV_ENC_BUFFER_FORMAT_NV12;
    picture.pictureStruct = NV_ENC_PIC_STRUCT_FRAME;
    picture.inputTimeStamp = 1;
    read.version = NV_ENC_LOCK_BITSTREAM_VER;
  }

  void* cuda_ = nullptr;
  void* library_ = nullptr;
  CUcontext context_ = nullptr;
};

struct Misuse {
  const char* line;  // part of the one that the report gets; "" for none
  std::function<void(Client&)> act;
};

// All of a picture's way, with something done ahead of each step.
void Whole(Client& c, const std::function<void()>& first, const std::function<void()>& second,
           const std::function<void()>& third) {
  first();
  c.Start();
  second();
  c.Encode();
  c.Read();
  third();
  c.Finish();
}
void Nothing() {}

const std::vector<Misuse>& Misuses() {
  static const std::vector<Misuse> all = {
      {"", [](Client& c) { Whole(c, Nothing, Nothing, Nothing); }},
      {"reserved is not zero",
       [](Client& c) {
         Whole(
             c, [&] { c.params.reserved[200] = 1; }, Nothing, Nothing);
       }},
      {"version 0xf0070007 of NV_ENC_CONFIG",
       [](Client& c) {
         c.config.version = 0xf0070007;
         c.Initialize();
       }},
      {"enableEncodeAsync",
       [](Client& c) {
         c.params.enableEncodeAsync = 1;
         c.Initialize();
       }},
      {"no tuningInfo",
       [](Client& c) {
         c.params.tuningInfo = NV_ENC_TUNING_INFO_UNDEFINED;
         c.Initialize();
       }},
      {"ahead of nvEncInitializeEncoder",
       [](Client& c) { c.calls.nvEncCreateInputBuffer(c.encoder, &c.input); }},
      {"the pitch is not",
       [](Client& c) {
         Whole(
             c, Nothing, [&] { c.picture.inputPitch = 64; }, Nothing);
       }},
      {"the picture is larger",
       [](Client& c) {
         Whole(
             c, Nothing, [&] { c.picture.inputHeight = 66; }, Nothing);
       }},
      {"pictureStruct",
       [](Client& c) {
         Whole(
             c, Nothing, [&] { c.picture.pictureStruct = NV_ENC_PIC_STRUCT_FIELD_TOP_BOTTOM; },
             Nothing);
       }},
      {"completion event",
       [](Client& c) {
         Whole(
             c, Nothing, [&] { c.picture.completionEvent = &c; }, Nothing);
       }},
      {"still locked",
       [](Client& c) {
         Whole(
             c, Nothing, [&] { c.calls.nvEncLockInputBuffer(c.encoder, &c.lock); },
             [&] { c.calls.nvEncUnlockInputBuffer(c.encoder, c.lock.inputBuffer); });
       }},
      {"written outside of a lock",
       [](Client& c) {
         Whole(
             c, Nothing, [&] { static_cast<char*>(c.lock.bufferDataPtr)[9] = 1; }, Nothing);
       }},
      {"has not been read",
       [](Client& c) {
         c.Start();
         c.Encode();
         c.Fill();
         c.Read();
         c.Finish();
       }},
      {"ahead of a success",
       [](Client& c) {
         c.Start();
         c.Read();
         c.Finish();
       }},
      {"not locked",
       [](Client& c) {
         Whole(c, Nothing, Nothing,
               [&] { c.calls.nvEncUnlockBitstream(c.encoder, c.read.outputBitstream); });
       }},
      {"stamps do not rise",
       [](Client& c) {
         Whole(c, Nothing, Nothing, [&] {
           c.Fill();
           c.Encode();
         });
       }},
      {"buffers are left", [](Client& c) { c.Start(); }},
      {"ahead of the end of the stream",
       [](Client& c) {
         c.Start();
         c.Encode();
         c.DestroyBuffers();
       }},
      {"not an input buffer",
       [](Client& c) {
         Whole(c, Nothing, Nothing, [&] { c.calls.nvEncDestroyInputBuffer(c.encoder, &c); });
       }},
      {"ahead of the sessions that use it", [](Client& c) { c.abandoned = true; }},
  };
  return all;
}

TEST(StandIn, ReportsEachRuleThatAClientBreaks) {
  for (const Misuse& misuse : Misuses()) {
    vendor::Reset();
    {
      Client client;
      misuse.act(client);
    }
    const std::vector<std::string> broken = vendor::BrokenRules();
    if (*misuse.line == '\0') {
      EXPECT_THAT(broken, IsEmpty());
      EXPECT_THAT(vendor::Held(), IsEmpty());
    } else {
      EXPECT_THAT(broken, testing::Contains(HasSubstr(misuse.line))) << misuse.line;
    }
  }
}

}  // namespace
}  // namespace xv::test
