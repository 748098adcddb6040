#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "values/time_syntax.h"
#include "values/value_syntax.h"

namespace xv {

enum class eXMLValueType : std::uint32_t {
  kNone = 0,  // the text is all there is
  kBool = 1,
  kInt = 2,
  kHex = 3,
  kInt64 = 4,
  kHex64 = 5,
  kSize = 6,
  kDouble = 7,
  kGuid = 8,
  kFourCC = 9,
  kColor = 10,
  kTime = 11,
};

struct FourCCValue {
  std::uint32_t code = 0;
};
struct ColorValue {
  std::uint32_t value = 0;  // 0xAABBGGRR
};

namespace XMLParse {

// One value: a text and, where it was set or last read as a type, the value of that type. A read as
// another type parses the text, rendered from the type before where it is not current.
//
// The Get operations keep what they parsed, the Read operations give the same and keep nothing.
// Thread-safety: Read operations and Text may run beside one another once Render has run; all else
// needs the owner's lock.
class XMLValue {
 public:
  XMLValue() = default;
  explicit XMLValue(std::string_view text) : text_(text) {}

  eXMLValueType Type() const { return static_cast<eXMLValueType>(payload_.index()); }
  bool Empty() const { return Type() == eXMLValueType::kNone && text_.empty(); }

  // Sets the text; the type becomes none. Where memory runs out the old text stays.
  void SetText(std::string_view text);
  void TakeText(std::string&& text);
  void SetBool(bool value) { Set(value); }
  void SetInt(std::int32_t value) { Set(value); }
  void SetHex(std::uint32_t value) { Set(value); }
  void SetInt64(std::int64_t value) { Set(value); }
  void SetHex64(std::uint64_t value) { Set(value); }
  void SetSize(SizeValue value) { Set(value); }
  void SetDouble(double value) { Set(value); }
  void SetGuid(const Guid& value) { Set(value); }
  void SetFourCC(std::uint32_t code) { Set(FourCCValue{code}); }
  void SetColor(std::uint32_t color) { Set(ColorValue{color}); }
  void SetTime(const CalendarTime& value) { Set(value); }

  bool GetBool() { return Get<bool>(); }
  std::int32_t GetInt() { return Get<std::int32_t>(); }
  std::uint32_t GetHex() { return Get<std::uint32_t>(); }
  std::int64_t GetInt64() { return Get<std::int64_t>(); }
  std::uint64_t GetHex64() { return Get<std::uint64_t>(); }
  SizeValue GetSize() { return Get<SizeValue>(); }
  double GetDouble() { return Get<double>(); }
  Guid GetGuid() { return Get<Guid>(); }
  std::uint32_t GetFourCC() { return Get<FourCCValue>().code; }
  std::uint32_t GetColor() { return Get<ColorValue>().value; }
  CalendarTime GetTime() { return Get<CalendarTime>(); }
  // The text of the value as it is; rendered where it is not current.
  const std::string& GetText();

  // T is one of the payload's types.
  template <class T>
  T Read() const;
  // The current rendering. Valid only after Render, which a typed Set does not do.
  const std::string& Text() const { return text_; }
  void Render() { GetText(); }

 private:
  // In the order of eXMLValueType.
  using Payload =
      std::variant<std::monostate, bool, std::int32_t, std::uint32_t, std::int64_t, std::uint64_t,
                   SizeValue, double, Guid, FourCCValue, ColorValue, CalendarTime>;

  template <class T>
  void Set(const T& value) {
    payload_ = value;
    textValid_ = false;
  }
  template <class T>
  T Get();
  std::string Rendered() const;

  std::string text_;
  Payload payload_;
  bool textValid_ = true;
};

}  // namespace XMLParse
}  // namespace xv
