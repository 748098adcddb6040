#pragma once

#include <string_view>

#include "picture/scale_engine.h"
#include "xvwriter/media.h"

namespace xv {

// The scaling quality code for `value`: 1 and above stands; below, the kind of scaling decides.
// Codes 16 and 18 act as 6 and 8 one to one: fields are scaled in one pass, without workers.
// `field` is the field asked for, or -1.
int ResolveScalingQuality(int value, const XV_VID_PROPS& source, const XV_VID_PROPS& target,
                          int field);

// The code for the text of "scaling_quality". Centred siting scales with what is asked for; with
// classic siting words leave the choice to the kind of scaling.
int ChooseScaling(std::string_view quality, Siting siting, const XV_VID_PROPS& source,
                  const XV_VID_PROPS& target, int field);

// Display aspect: the properties' own, else width over height, else 16:9.
double DisplayAspect(const XV_VID_PROPS& vid);

}  // namespace xv
