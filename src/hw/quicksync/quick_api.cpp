#include "hw/quicksync/quick_api.h"

namespace xv {
namespace {

const char* WordsOf(mfxStatus code) {
  switch (code) {
    case MFX_ERR_NULL_PTR:
      return "a null pointer";
    case MFX_ERR_UNSUPPORTED:
      return "no runtime here supports it; is Intel's media driver installed?";
    case MFX_ERR_MEMORY_ALLOC:
      return "memory is full";
    case MFX_ERR_NOT_ENOUGH_BUFFER:
      return "the buffer is too small";
    case MFX_ERR_INVALID_HANDLE:
      return "the handle is not valid";
    case MFX_ERR_LOCK_MEMORY:
      return "memory could not be locked";
    case MFX_ERR_NOT_INITIALIZED:
      return "the encoder is not initialised";
    case MFX_ERR_ABORTED:
      return "the operation was aborted";
    case MFX_ERR_DEVICE_LOST:
      return "the device is lost";
    case MFX_ERR_INCOMPATIBLE_VIDEO_PARAM:
      return "the parameters do not go together";
    case MFX_ERR_INVALID_VIDEO_PARAM:
      return "the parameters are not valid for this encoder";
    case MFX_ERR_UNDEFINED_BEHAVIOR:
      return "the call is not allowed here";
    case MFX_ERR_DEVICE_FAILED:
      return "the device failed";
    case MFX_ERR_GPU_HANG:
      return "the device hangs";
    case MFX_WRN_DEVICE_BUSY:
      return "the device is busy";
    case MFX_WRN_IN_EXECUTION:
      return "the operation does not end";
    default:
      return "the runtime refused";
  }
}

}  // namespace

std::string QuickErrorText(const char* call, mfxStatus code) {
  return std::string(call) + ": " + WordsOf(code) + " (MFX " + std::to_string(code) + ")";
}

bool IsDeviceFailure(mfxStatus code) {
  return code == MFX_ERR_DEVICE_FAILED || code == MFX_ERR_DEVICE_LOST || code == MFX_ERR_ABORTED ||
         code == MFX_ERR_GPU_HANG;
}

}  // namespace xv
