#include <cmath>
#include <cstdlib>
#include <string>

#include "media/time_code.h"
#include "values/time_syntax.h"
#include "values/value_syntax.h"
#include "xvwriter/object.h"

// Any bytes as a value: number, pair, rate, list, identifier, time code.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const double number = xv::ReadDouble(text);
  if (std::isfinite(number)) {
    const double again = xv::ReadDouble(xv::RenderDouble(number));
    if (std::abs(again - number) > std::abs(number) * 1e-5 + 1e-6) std::abort();
  }
  std::int32_t first = 0, second = 0;
  static_cast<void>(xv::ReadPair(text, &first, &second));
  static_cast<void>(xv::ReadHex64(text));
  static_cast<void>(xv::ReadBool(text));
  const std::int64_t rate = xv::ReadRate(text);
  static_cast<void>(xv::TimeCodeFromTime(rate, xv::ReadInt64(text), (size & 1) != 0));
  static_cast<void>(xv::TimeCodeFromFrames(rate, number, (size & 1) != 0));
  static_cast<void>(xv::IsTimeCode(text));
  std::size_t listed = 0;
  for (const std::string& word : xv::ReadList(text)) listed += word.size();
  if (listed > text.size()) std::abort();
  xv::Guid id{}, same{};
  if (xv::ReadGuid(text, &id) && (!xv::ReadGuid(xv::RenderGuid(id), &same) || !(same == id))) {
    std::abort();
  }
  return 0;
}
