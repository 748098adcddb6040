#pragma once

#include <span>
#include <string_view>

#include "props/attribute_spec.h"

namespace xv {

// What stream setup reads of the nodes "video" and "audio".
std::span<const AttributeSpec> VideoAttributes();
std::span<const AttributeSpec> AudioAttributes();

// `key` names a row of `specs`; a row "name.N" matches "name." with digits.
bool IsKnownAttribute(std::span<const AttributeSpec> specs, std::string_view key);

}  // namespace xv
