#include "component/class_tables.h"

#include <algorithm>
#include <span>

#include "base/text.h"
#include "settings/settings_store.h"
#include "values/value_syntax.h"

namespace xv {
namespace {

constexpr std::string_view kSettings = "components";

// Classes that other makers may register; nobody has to.
constexpr Guid kVendorSession{
    0x96d3e0b7, 0x18c4, 0x4a52, {0xb6, 0x0f, 0x73, 0x29, 0x5d, 0xe1, 0x84, 0xca}};
constexpr Guid kVendorDriver{
    0x4be07f19, 0xd2a6, 0x4c38, {0x91, 0xe5, 0x08, 0xbc, 0x46, 0x7d, 0xf3, 0x5e}};
constexpr Guid kBroadcastMuxer{
    0x2d7f9478, 0x91ef, 0x418a, {0xb6, 0x47, 0xe1, 0x5e, 0x16, 0xe2, 0x17, 0x64}};

constexpr const char* kHardwareFirst[] = {"q264", "q264hw", "gpu_h264"};
constexpr const char* kDriver[] = {"n264", "l264", "n265", "gpu_h264"};
constexpr const char* kSoftwareNext[] = {"q264", "q264sw", "gpu_h264"};
constexpr const char* kBroadcast[] = {"mpeg_nablet", "mpeg_nablet_udp"};

// An empty list matches any name.
struct EncoderRow {
  eXfMediaType type;
  std::span<const char* const> codecs;
  const char* setting;
  Guid classId;
  const char* startText;
};

constexpr EncoderRow kEncoders[] = {
    {eXfMT_Audio, {}, "encoder_audio", CLSID_CoXfEncoderFFM, ""},
    {eXfMT_Video, kHardwareFirst, "encoder_q264hw", kVendorSession, "hw_only=true"},
    {eXfMT_Video, kDriver, "encoder_n264", kVendorDriver, ""},
    {eXfMT_Video, kSoftwareNext, "encoder_q264sw", kVendorSession, ""},
    {eXfMT_Video, {}, "encoder_video", CLSID_CoXfEncoderFFM, ""},
};

struct MuxerRow {
  std::span<const char* const> formats;
  std::span<const char* const> extensions;
  const char* setting;
  Guid classId;
};

constexpr MuxerRow kMuxers[] = {
    {kBroadcast, {}, "muxer_nablet", kBroadcastMuxer},
    {{}, {}, "muxer", CLSID_CoXfMuxerFFM},
};

bool Holds(std::span<const char* const> names, std::string_view name) {
  return WordIndex(name, names) >= 0;
}

// The settings as they are now: a table is looked at once an open.
class Overrides {
 public:
  std::string Text(std::string_view setting) const { return std::string(table_.Text(setting)); }
  // What cannot be read as an id is no class.
  Guid ClassOf(std::string_view setting, const Guid& usual) const {
    const std::string text = Text(setting);
    Guid own = text.empty() ? usual : Guid();
    (void)ReadGuid(text, &own);
    return own;
  }

 private:
  const SettingsTable table_ = ReadSettingsTable(kSettings);
};

}  // namespace

std::vector<ClassRow> EncoderRows(eXfMediaType type, std::string_view codec) {
  const Overrides overrides;
  std::vector<ClassRow> rows;
  for (const EncoderRow& row : kEncoders) {
    if (row.type != type || (!row.codecs.empty() && !Holds(row.codecs, codec))) continue;
    rows.push_back({row.setting, overrides.ClassOf(row.setting, row.classId), row.startText});
  }
  return rows;
}

std::vector<ClassRow> MuxerRows(std::string_view format, std::string_view extension) {
  const Overrides overrides;
  std::vector<ClassRow> rows;
  for (const MuxerRow& row : kMuxers) {
    const Guid classId = overrides.ClassOf(row.setting, row.classId);
    if (classId == Guid()) break;
    const bool any = row.formats.empty() && row.extensions.empty();
    if (any || Holds(row.formats, format) || Holds(row.extensions, extension)) {
      rows.push_back({row.setting, classId, {}});
    }
  }
  return rows;
}

std::chrono::milliseconds ComponentPatience() {
  constexpr int kUsual = 10'000;
  const int asked = ReadInt(Overrides().Text("patience_ms"));
  return std::chrono::milliseconds(asked > 0 ? asked : kUsual);
}

}  // namespace xv
