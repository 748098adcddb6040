// Captions into an SCC file and into the pictures: captions clip.mp4 clip.scc
#include <array>

#include "grey_frames.h"

// Pairs of CEA-608 for field 1, each byte with its parity bit: load a caption, clear what is
// stored, row 15, "HI", show it.
constexpr unsigned char kPairs[][2] = {
    {0x94, 0x20}, {0x94, 0xae}, {0x94, 0x70}, {0xc8, 0x49}, {0x94, 0x2f}};

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const auto scc = xv::host::Attribute("scc_path", argv[2]);
  if (!scc) return 2;
  xv::host::Writer writer;
  xv::HRESULT result = writer.Start(argv[1], "video::codec=libx264 embed_cc=true " + *scc);
  for (std::size_t i = 0; i < 50 && xv::Succeeded(result); ++i) {
    const unsigned char none[2] = {0x80, 0x80};
    const unsigned char* pair = i < std::size(kPairs) ? kPairs[i] : none;
    const xv::host::Ptr<xv::IXvFrame> frame = GreyFrame(static_cast<int>(i)).Build(&result);
    // For the SCC file: the pair in the low half of a word.
    const auto word = std::make_shared<std::array<unsigned char, 4>>();
    *word = {pair[0], pair[1], 0, 0};
    if (xv::Succeeded(result)) {
      result = xv::host::AddExtra(frame, xv::FourCC("C608"), word->data(), word->size(), word);
    }
    // For the pictures: ATSC A/53 user data with one construct.
    const auto user = std::make_shared<std::array<unsigned char, 11>>();
    *user = {'G', 'A', '9', '4', 3, 0xc1, 0xff, 0xfc, pair[0], pair[1], 0xff};
    if (xv::Succeeded(result)) {
      result = xv::host::AddExtra(frame, xv::FourCC("GA94"), user->data(), user->size(), user);
    }
    if (xv::Succeeded(result)) result = writer.Put(frame);
  }
  const int status = Finish(writer, result);
  const xv::host::Statistics stats = writer.Stats();
  std::printf(
      "%lld pairs seen, %lld embedded, %lld lost\n", static_cast<long long>(stats.captionsSeen),
      static_cast<long long>(stats.captionsEmbedded), static_cast<long long>(stats.captionsLost));
  return status;
}
