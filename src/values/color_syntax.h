#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Colours as text. A colour is 0xAABBGGRR: red in the low byte, alpha 255 is opaque.
namespace xv {

// "Red", "Red(128)", "Default(64)", "Transparent", "FF8000", "0xF80", "80FF8000" (alpha first). In
// the digits the order is red, green, blue. Text that is no colour gives `defaultColor`; so does
// all that follows one of ~!@#$%^&*-+=|\/.,;` since the text ends there.
std::uint32_t ReadColor(std::string_view text, std::uint32_t defaultColor = 0);

// A name, or "#RRGGBB"; an alpha below 255 stands behind it in brackets, in decimal.
std::string RenderColor(std::uint32_t color);

}  // namespace xv
