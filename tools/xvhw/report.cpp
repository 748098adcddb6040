#include "xvhw/report.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

namespace xvhw {
namespace {

using json = nlohmann::ordered_json;
using xv::NvencCodecOffer;

std::string Line(const char* encoder, const char* codecs, const std::string& problem,
                 const std::string& works) {
  return fmt::format("{:<10} {:<16} {}\n", encoder, codecs,
                     problem.empty() ? "works: " + works : "not available: " + problem);
}

std::string Adapters(int count) {
  return fmt::format("{} adapter{}", count, count == 1 ? "" : "s");
}

std::string NvencWords(const xv::NvencOffer& offer) {
  std::string words = offer.device;
  if (!offer.driverApi.empty()) words += ", interface of the driver " + offer.driverApi;
  return words + ", sessions on " + offer.sessionApi;
}

std::string QuickWords(const xv::QuickOffer& offer) {
  std::string words = offer.hardware ? "hardware" : "software";
  if (offer.hardware && offer.software) words += " and software";
  words += fmt::format(", interface {}.{}, implementation {:#06x}", offer.major, offer.minor,
                       offer.implementation);
  return offer.driver.empty() ? words : words + ", " + offer.driver;
}

std::string CodecLine(const char* codec, const NvencCodecOffer& offer) {
  if (!offer.listed) return fmt::format("  {}: not on this adapter\n", codec);
  std::string line = fmt::format("  {}: ", codec);
  if (offer.leastWidth > 0) line += fmt::format("{}x{} ", offer.leastWidth, offer.leastHeight);
  line += fmt::format("up to {}x{}, ", offer.mostWidth, offer.mostHeight);
  line += offer.mostBPictures == 0 ? std::string("no B pictures")
                                   : fmt::format("{} B pictures in a row", offer.mostBPictures);
  line += offer.fields ? ", fields" : ", no fields";
  line += offer.lossless ? ", lossless" : ", not lossless";
  if (offer.tenBits) line += ", 10 bits (not used)";
  if (offer.yuv444) line += ", 4:4:4 (not used)";
  return line + '\n';
}

json CodecObject(const NvencCodecOffer& offer) {
  if (!offer.listed) return nullptr;
  return {{"width", {offer.leastWidth, offer.mostWidth}},
          {"height", {offer.leastHeight, offer.mostHeight}},
          {"b_pictures", offer.mostBPictures},
          {"fields", offer.fields},
          {"lossless", offer.lossless},
          {"ten_bits", offer.tenBits},
          {"yuv444", offer.yuv444}};
}

json Encoder(const char* name, std::vector<std::string> codecs, const std::string& problem) {
  return {{"name", name},
          {"codecs", std::move(codecs)},
          {"works", problem.empty()},
          {"problem", problem}};
}

json NvencObject(const Machine& machine) {
  json out = Encoder("nvenc", {"n264", "l264", "n265"}, machine.nvenc.problem);
  out["adapter"] = machine.adapter;
  out["device"] = machine.nvenc.device;
  out["driver_api"] = machine.nvenc.driverApi;
  out["session_api"] = machine.nvenc.sessionApi;
  out["h264"] = CodecObject(machine.nvenc.h264);
  out["h265"] = CodecObject(machine.nvenc.hevc);
  return out;
}

json CudaObject(const xv::CudaOffer& offer) {
  json out = Encoder("cuda", {"c264"}, offer.problem);
  out["adapters"] = offer.adapters;
  return out;
}

json QuickObject(const xv::QuickOffer& offer) {
  json out = Encoder("quicksync", {"q264"}, offer.problem);
  out["hardware"] = offer.hardware;
  out["software"] = offer.software;
  out["api"] = fmt::format("{}.{}", offer.major, offer.minor);
  out["implementation"] = offer.implementation;
  out["driver"] = offer.driver;
  return out;
}

}  // namespace

std::string TextReport(const Machine& machine) {
  std::string text;
  if (!machine.vendorFolder.empty()) {
    text += fmt::format("libraries come from {} first\n", machine.vendorFolder);
  }
  text += Line("NVENC", "n264, l264, n265", machine.nvenc.problem, NvencWords(machine.nvenc));
  if (!machine.nvenc.Works() && !machine.nvenc.device.empty()) {
    text += fmt::format("  asked on {}\n", machine.nvenc.device);
  }
  if (machine.nvenc.Works()) {
    text += CodecLine("H.264", machine.nvenc.h264) + CodecLine("H.265", machine.nvenc.hevc);
  }
  text += Line("CUDA", "c264", machine.cuda.problem, Adapters(machine.cuda.adapters));
  return text + Line("QuickSync", "q264", machine.quick.problem, QuickWords(machine.quick));
}

std::string JsonReport(const Machine& machine) {
  const json out = {{"works", machine.AnythingWorks()},
                    {"vendor_folder", machine.vendorFolder},
                    {"encoders", json::array({NvencObject(machine), CudaObject(machine.cuda),
                                              QuickObject(machine.quick)})}};
  return out.dump(2, ' ', false, json::error_handler_t::replace) + '\n';
}

}  // namespace xvhw
