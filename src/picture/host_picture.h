#pragma once

#include <cstdint>

#include "base/ref.h"
#include "base/status.h"
#include "contracts/av_handles.h"
#include "xvwriter/media.h"
#include "xvwriter/object.h"

namespace xv {

// Host memory with known properties as an AVFrame, without a copy: its buffer holds `owner` (may be
// null), so the memory lives as long as any encoder uses it. v210, which FFmpeg has no format for,
// gets kPixFmtV210.
//   XV_E_NO_PIXEL_FORMAT the layout has no pixel format, or the properties are not valid.
//   E_INVALIDARG         the buffer is shorter than the properties say.
Status WrapPicture(const XV_VID_PROPS& vid, const std::uint8_t* data, std::uint32_t size,
                   Ref<IUnknown> owner, AvPtr<AVFrame>* picture);

// Field flags and sample aspect of `vid` onto a picture.
void DescribePicture(const XV_VID_PROPS& vid, AVFrame* picture);

}  // namespace xv
