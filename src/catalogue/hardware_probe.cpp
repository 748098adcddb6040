#include "catalogue/hardware_probe.h"

#include "hw/cuda/cuda_offer.h"
#include "hw/quicksync/quick_offer.h"
#include "hw/vendor_folder.h"

namespace xv {
namespace {

std::string LosslessReason(const NvencOffer& offer) {
  if (!offer.h264.listed) return "the adapter does not encode H.264";
  return offer.h264.lossless ? std::string() : "the adapter does not encode without loss";
}

// FFmpeg loads the vendor's library itself, and only as the system searches it.
std::string FFmpegReason() {
  if (VendorFolder().empty()) return {};
  DynamicLibrary library;
  if (library.Open("libnvidia-encode.so.1").Ok()) return {};
  return "FFmpeg does not find the driver: " + library.Words();
}

void FillNvenc(HardwareReport& report) {
  const NvencOffer offer = ProbeNvenc(0);
  const bool works = offer.Works();
  report.nvencH264 = !works              ? offer.problem
                     : offer.h264.listed ? std::string()
                                         : "the adapter does not encode H.264";
  report.nvencLossless = works ? LosslessReason(offer) : offer.problem;
  report.nvencHevc = !works              ? offer.problem
                     : offer.hevc.listed ? std::string()
                                         : "the adapter does not encode H.265";
  report.nvencFFmpeg = report.nvencH264.empty() ? FFmpegReason() : report.nvencH264;
  report.h264 = offer.h264;
  report.hevc = offer.hevc;
}

void FillQuickSync(HardwareReport& report) {
  const QuickOffer offer = ProbeQuick();
  report.quickSync = {offer.hardware, offer.software,       offer.major,
                      offer.minor,    offer.implementation, offer.problem};
}

}  // namespace

HardwareReport ProbeHardware() {
  HardwareReport report;
  FillNvenc(report);
  report.cuda = ProbeCuda().problem;
  FillQuickSync(report);
  return report;
}

}  // namespace xv
