#pragma once

// Words that attribute values are chosen from, in the order of their indexes. Each table ends with
// a null, which WordIndex stops at.
namespace xv::words {

// "ar_type", "scale_type".
inline constexpr const char* kScaleType[] = {"default",  "ignore-ar", "letter-box", "crop",
                                             "no-scale", "none",      nullptr};
// "interlace" of a session; the index is the value of eXvInterlace.
inline constexpr const char* kInterlace[] = {"auto",    "top",   "bottom", "progressive",
                                             "inverse", "field", nullptr};
inline constexpr const char* kInterlaceDisplay[] = {
    "Auto", "TopFirst", "BottomFirst", "Progressive", "Inverse", "field", "ERROR", nullptr};
inline constexpr const char* kInterlaceShort[] = {"A", "iT", "iB", "p", "INV", "OF", "ER", nullptr};
// "dv_format".
inline constexpr const char* kDvFormat[] = {"dvsd", "dv25", "dv50", "dvhd", nullptr};
inline constexpr const char* kStereoLayout[] = {"",        "3D-HSbS", "3D-HTnB", "3D-SbS", "3D-TnB",
                                                "3D-Auto", "3D-Tile", "none",    nullptr};
// The suffix of a scale type in trace text; the index is kScaleType's.
inline constexpr const char* kScaleTypeLetter[] = {"", "I", "L", "C", "N", nullptr};

}  // namespace xv::words
