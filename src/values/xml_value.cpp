#include "values/xml_value.h"

#include "values/color_syntax.h"

namespace xv::XMLParse {
namespace {

void Parse(const std::string& text, bool* out) { *out = ReadBool(text); }
void Parse(const std::string& text, std::int32_t* out) { *out = ReadInt(text); }
void Parse(const std::string& text, std::uint32_t* out) { *out = ReadHex(text); }
void Parse(const std::string& text, std::int64_t* out) { *out = ReadInt64(text); }
void Parse(const std::string& text, std::uint64_t* out) { *out = ReadHex64(text); }
void Parse(const std::string& text, SizeValue* out) { *out = ReadSize(text); }
void Parse(const std::string& text, double* out) { *out = ReadDouble(text); }
void Parse(const std::string& text, Guid* out) { *out = ReadGuid(text); }
void Parse(const std::string& text, FourCCValue* out) { out->code = ReadFourCC(text); }
void Parse(const std::string& text, ColorValue* out) { out->value = ReadColor(text); }
void Parse(const std::string& text, CalendarTime* out) {
  (void)ReadTime(text.c_str(), out, false);  // fails for null pointers only
}

struct Renderer {
  std::string operator()(std::monostate) const { return {}; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::int32_t value) const { return std::to_string(value); }
  std::string operator()(std::uint32_t value) const { return RenderHex(value); }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(std::uint64_t value) const { return RenderHex64(value); }
  std::string operator()(const SizeValue& value) const { return RenderSize(value); }
  std::string operator()(double value) const { return RenderDouble(value); }
  std::string operator()(const Guid& value) const { return RenderGuid(value); }
  std::string operator()(FourCCValue value) const { return RenderFourCC(value.code); }
  std::string operator()(ColorValue value) const { return RenderColor(value.value); }
  std::string operator()(const CalendarTime& value) const { return RenderTime(value, false); }
};

}  // namespace

void XMLValue::SetText(std::string_view text) { TakeText(std::string(text)); }

void XMLValue::TakeText(std::string&& text) {
  text_ = std::move(text);
  payload_ = std::monostate();
  textValid_ = true;
}

std::string XMLValue::Rendered() const {
  return textValid_ ? text_ : std::visit(Renderer(), payload_);
}

const std::string& XMLValue::GetText() {
  if (!textValid_) {
    text_ = std::visit(Renderer(), payload_);
    textValid_ = true;
  }
  return text_;
}

template <class T>
T XMLValue::Read() const {
  if (const T* payload = std::get_if<T>(&payload_)) return *payload;
  T value{};
  if (textValid_ && text_.empty()) return value;
  Parse(textValid_ ? text_ : Rendered(), &value);
  return value;
}

template <class T>
T XMLValue::Get() {
  const T value = Read<T>();
  GetText();
  payload_ = value;
  return value;
}

template bool XMLValue::Read<bool>() const;
template std::int32_t XMLValue::Read<std::int32_t>() const;
template std::uint32_t XMLValue::Read<std::uint32_t>() const;
template std::int64_t XMLValue::Read<std::int64_t>() const;
template std::uint64_t XMLValue::Read<std::uint64_t>() const;
template SizeValue XMLValue::Read<SizeValue>() const;
template double XMLValue::Read<double>() const;
template Guid XMLValue::Read<Guid>() const;
template FourCCValue XMLValue::Read<FourCCValue>() const;
template ColorValue XMLValue::Read<ColorValue>() const;
template CalendarTime XMLValue::Read<CalendarTime>() const;
template bool XMLValue::Get<bool>();
template std::int32_t XMLValue::Get<std::int32_t>();
template std::uint32_t XMLValue::Get<std::uint32_t>();
template std::int64_t XMLValue::Get<std::int64_t>();
template std::uint64_t XMLValue::Get<std::uint64_t>();
template SizeValue XMLValue::Get<SizeValue>();
template double XMLValue::Get<double>();
template Guid XMLValue::Get<Guid>();
template FourCCValue XMLValue::Get<FourCCValue>();
template ColorValue XMLValue::Get<ColorValue>();
template CalendarTime XMLValue::Get<CalendarTime>();

}  // namespace xv::XMLParse
