// What a dialog shows, and a recording with what was chosen there: presets clip.mov
#include <string>

#include "grey_frames.h"
#include "xvwriter/list.hpp"

// The formats, the video codecs of the chosen one, the options of the chosen codec.
void ShowChoices(const xv::host::Writer& writer, const char* format, const char* codec) {
  const xv::host::ServedList list(writer);
  for (const xv::host::ListEntry& entry : list.Entries("formats::format")) {
    std::printf("format %s: %s\n", entry.Text("id").c_str(), entry.Text("name").c_str());
  }
  const auto chosen = xv::host::FindEntry(list, "formats::format", format);
  if (!chosen) return;
  for (const xv::host::ListEntry& entry : list.Entries(chosen->path + "::video::codec")) {
    std::printf("  codec %s: %s\n", entry.Text("id").c_str(), entry.Text("name").c_str());
  }
  const auto picked = xv::host::FindEntry(list, chosen->path + "::video::codec", codec);
  if (!picked) return;
  for (const xv::host::ListOption& option : xv::host::CodecOptions(list, *picked, "video")) {
    std::printf("    video::%s=%s  %s [%s]\n", option.name.c_str(), option.defaultValue.c_str(),
                option.description.c_str(), option.values.c_str());
  }
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  xv::host::Writer writer;
  ShowChoices(writer, "mov", "prores");
  const auto presets = xv::host::PresetText(writer, "mov", "prores", "pcm_s24le");
  if (!presets) return 1;  // this machine has no such entry
  xv::HRESULT result = writer.Start(argv[1], *presets + " video::size=1280x720");
  if (xv::Succeeded(result)) result = PutFrames(writer, 10);
  return Finish(writer, result);
}
