#pragma once

// Words that attribute values are chosen from, in the order of their indexes. Each table ends with
// a null, which WordIndex stops at.
namespace xv::words {

// "ar_type", "scale_type".
inline constexpr const char* kScaleType[] = {"default",  "ignore-ar", "letter-box", "crop",
                                             "no-scale", "none",      nullptr};
// "dv_format".
inline constexpr const char* kDvFormat[] = {"dvsd", "dv25", "dv50", "dvhd", nullptr};

}  // namespace xv::words
