#include "picture/v210_pictures.h"

#include <cstdint>

#include "kernels/deep_kernels.h"
#include "kernels/row_sink.h"
#include "picture/row_making.h"

namespace xv {
void Pack422ToV210(const ImageView& source, const ImageView& target) {
  const auto pack = Deep().packV210[FindPackedOrder(source.tag).value().lumaFirst ? 1 : 0];
  StreamRows(target, source.height, Bytes((source.width + 5) / 6 * 16),
             [&](int y, std::uint8_t* row, Stores stores) {
               pack(Row(source, y), row, source.width, stores);
             });
}

void UnpackV210(const ImageView& source, const ImageView& target) {
  StreamRows(target, source.height, Bytes((source.width & ~1) * 2),
             [&](int y, std::uint8_t* row, Stores stores) {
               Deep().unpackV210(Row(source, y), row, source.width, stores);
             });
}

void UnpackV210ToPlanes(const ImageView& source, const PlanarView& target) {
  RowSink sink(PictureBytes(source, 4));
  const std::size_t bytes[3] = {Bytes(source.width) * 2, Bytes((source.width + 1) / 2) * 2,
                                Bytes((source.width + 1) / 2) * 2};
  for (int y = 0; y < source.height; ++y) {
    std::uint8_t* rows[3];
    std::uint8_t* to[3];
    for (std::size_t plane = 0; plane < 3; ++plane) {
      to[plane] = target.data[plane] + y * target.step[plane];
      rows[plane] = sink.Open(static_cast<int>(plane), to[plane], bytes[plane]);
    }
    Deep().planesFromV210(Row(source, y), reinterpret_cast<std::uint16_t*>(rows[0]),
                          reinterpret_cast<std::uint16_t*>(rows[1]),
                          reinterpret_cast<std::uint16_t*>(rows[2]), source.width);
    for (std::size_t plane = 0; plane < 3; ++plane)
      sink.Commit(rows[plane], to[plane], bytes[plane]);
  }
}

}  // namespace xv
