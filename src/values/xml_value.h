#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "values/value_syntax.h"

namespace xv::XMLParse {

// One value: a text, and the number where it was set as one, since the text is rounded. A read as
// any other type parses the text; the empty text is zero.
//
// Thread-safety: reading may run beside reading; all else needs the owner's lock.
class XMLValue {
 public:
  XMLValue() = default;
  explicit XMLValue(std::string_view text) : text_(text) {}
  static XMLValue OfText(std::string&& text) {
    XMLValue out;
    out.text_ = std::move(text);
    return out;
  }
  static XMLValue OfBool(bool value) { return XMLValue(value ? "true" : "false"); }
  static XMLValue OfInteger(std::int64_t value) { return OfText(std::to_string(value)); }
  static XMLValue OfNumber(double value) {
    XMLValue out = OfText(RenderDouble(value));
    out.number_ = value;
    return out;
  }

  const std::string& Text() const { return text_; }
  // T is bool, std::int32_t or double.
  template <class T>
  T Read() const;

 private:
  std::string text_;
  std::optional<double> number_;
};

template <>
inline bool XMLValue::Read<bool>() const {
  return ReadBool(text_);
}
template <>
inline std::int32_t XMLValue::Read<std::int32_t>() const {
  return ReadInt(text_);
}
template <>
inline double XMLValue::Read<double>() const {
  return number_ ? *number_ : ReadDouble(text_);
}

}  // namespace xv::XMLParse
