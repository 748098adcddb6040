#pragma once

#include <string>

#include "support/vendor/mfx/mfx_header.h"

// What the interface asks of the structures that a client fills.
namespace xv::mfx {

// As the runtime answers. What the header forbids is a line of the ledger, under the call's name.
mfxStatus CheckParam(const char* call, const mfxVideoParam& param, bool hardware);

// A surface of an encoder that was initialised with `param`.
mfxStatus CheckSurface(const char* call, const mfxFrameSurface1& surface,
                       const mfxVideoParam& param);

mfxStatus CheckBitstream(const char* call, const mfxBitstream& bitstream);

// Null when `param` has none.
const mfxExtBuffer* FindExtension(const mfxVideoParam& param, mfxU32 id);

// Pictures of the reordering and of AsyncDepth.
mfxU16 SurfacesNeeded(const mfxVideoParam& param);

// Ones that the runtime uses where the client left it to it; rates that contradict each other are
// brought together, which gives a warning.
mfxStatus Complete(mfxVideoParam* param);

}  // namespace xv::mfx
