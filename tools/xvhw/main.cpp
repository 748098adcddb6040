#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "hw/vendor_folder.h"
#include "xvhw/report.h"

namespace xvhw {
namespace {

constexpr int kNothingWorks = 1;
constexpr int kUsage = 2;

Machine AskMachine(int adapter) {
  Machine machine;
  machine.vendorFolder = xv::VendorFolder();
  machine.adapter = adapter;
  machine.nvenc = xv::ProbeNvenc(adapter);
  machine.cuda = xv::ProbeCuda();
  machine.quick = xv::ProbeQuick();
  return machine;
}

int Main(int argc, char** argv) {
  CLI::App app{"Tells which hardware encoders this machine has, and why not."};
  app.set_version_flag("--version", "xvhw " XV_VERSION);
  bool asJson = false;
  int adapter = 0;
  app.add_flag("--json", asJson, "Print one JSON object");
  app.add_option("--adapter", adapter, "Ask NVENC on this adapter, from 0")
      ->check(CLI::Range(0, 255));
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kUsage;
  }
  const Machine machine = AskMachine(adapter);
  const std::string report = asJson ? JsonReport(machine) : TextReport(machine);
  std::fputs(report.c_str(), stdout);
  return machine.AnythingWorks() ? 0 : kNothingWorks;
}

}  // namespace
}  // namespace xvhw

int main(int argc, char** argv) {
  try {
    return xvhw::Main(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "xvhw: %s\n", error.what());
    return 1;
  }
}
