// How long a host in real time waits in ReceiverPut while the writer's surroundings fail: a second
// output whose receiver stalls, resets, half-closes or is slow, and a disk that fills. Beside them
// the same recording alone, and with a receiver that takes all. DNxHD of 15 MB/s, so that the
// second output's queue is full before the end.
//   bench_isolation FOLDER [SECONDS]
#include <sys/mount.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "live.h"
#include "support/odd_receiver.h"

namespace {

using namespace xv::bench;
using xv::test::OddReceiver;
using xv::test::Receiving;

constexpr const char* kAttributes =
    "video::codec=dnxhd video::b=120M video.drop_frames=true io_timeout=2";
constexpr struct {
  const char* name;
  Receiving receiving;
} kReceivers[] = {
    {"receiver takes all", Receiving::kAll},  {"receiver stalls", Receiving::kStops},
    {"receiver resets", Receiving::kResets},  {"receiver half-closes", Receiving::kHalfCloses},
    {"receiver is slow", Receiving::kSlowly},
};

// A disk of 40 MB is full after some three seconds. Needs the right to mount.
bool RunOnFullDisk(const std::string& folder, const std::vector<Picture>& pictures, int frames) {
  const std::string disk = folder + "disk";
  std::filesystem::create_directory(disk);
  if (::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=40m") != 0) {
    std::printf("%-28s not measured: no right to mount one\n", "a disk that fills");
    return true;
  }
  const Live live =
      RunLive(disk + "/a.mov", std::string(kAttributes) + " diskspace.min=10M", pictures, frames);
  ::umount2(disk.c_str(), MNT_DETACH);
  Print("a disk that fills", live);
  return live.put == xv::XV_E_DISK_FULL;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const std::string folder = std::string(argv[1]) + "/";
  const int frames = (argc > 2 ? std::atoi(argv[2]) : 10) * kRate;
  const std::vector<Picture> pictures = MakePictures(kPictureBytes);
  const Live alone = RunLive(folder + "alone.mov", kAttributes, pictures, frames);
  Print("alone", alone);
  if (xv::Failed(alone.put) || xv::Failed(alone.stop)) return 1;
  for (const auto& [name, receiving] : kReceivers) {
    OddReceiver receiver(receiving);
    const Live beside =
        RunLive(folder + "beside.mov",
                std::string(kAttributes) +
                    " second_encoder::format=matroska second_encoder=" + receiver.Url("tcp"),
                pictures, frames);
    Print(name, beside);
    if (xv::Failed(beside.put)) return 1;
  }
  return RunOnFullDisk(folder, pictures, frames) ? 0 : 1;
}
