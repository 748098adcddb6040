#include "tags.h"

#include <gst/tag/tag.h>

#include "xvwriter/host.hpp"

namespace xv::gst {
namespace {

// GStreamer's tags and the keys that containers know them by.
struct TagRow {
  const char* tag;
  const char* key;
  const char* none = "";  // of a later track, which has what the first one has unless it says so
};
constexpr TagRow kFileTags[] = {
    {GST_TAG_TITLE, "title"},
    {GST_TAG_ARTIST, "artist"},
    {GST_TAG_ALBUM, "album"},
    {GST_TAG_ALBUM_ARTIST, "album_artist"},
    {GST_TAG_COMPOSER, "composer"},
    {GST_TAG_PERFORMER, "performer"},
    {GST_TAG_GENRE, "genre"},
    {GST_TAG_COMMENT, "comment"},
    {GST_TAG_DESCRIPTION, "description"},
    {GST_TAG_COPYRIGHT, "copyright"},
    {GST_TAG_PUBLISHER, "publisher"},
    {GST_TAG_ENCODED_BY, "encoded_by"},
    {GST_TAG_KEYWORDS, "keywords"},
    {GST_TAG_SHOW_NAME, "show"},
    {GST_TAG_TRACK_NUMBER, "track"},
    {GST_TAG_ALBUM_VOLUME_NUMBER, "disc"},
    {GST_TAG_DATE_TIME, "date"},
};
constexpr TagRow kStreamTags[] = {{GST_TAG_TITLE, "title", "-"},
                                  {GST_TAG_LANGUAGE_CODE, "language", "und"}};

std::string TextOfValue(const GValue* value) {
  if (G_VALUE_HOLDS_STRING(value)) return g_value_get_string(value);
  if (G_VALUE_HOLDS_UINT(value)) return std::to_string(g_value_get_uint(value));
  if (!GST_VALUE_HOLDS_DATE_TIME(value)) return {};
  gchar* date =
      gst_date_time_to_iso8601_string(static_cast<GstDateTime*>(g_value_get_boxed(value)));
  const std::string text = date != nullptr ? date : "";
  g_free(date);
  return text;
}

// All values of a tag, "; " between them; containers want languages in three letters.
std::string TextOfTag(const GstTagList* tags, const char* tag) {
  std::string text;
  const guint count = tags == nullptr ? 0 : gst_tag_list_get_tag_size(tags, tag);
  for (guint i = 0; i < count; ++i) {
    text += (i > 0 ? "; " : "") + TextOfValue(gst_tag_list_get_value_index(tags, tag, i));
  }
  if (text.empty() || g_strcmp0(tag, GST_TAG_LANGUAGE_CODE) != 0) return text;
  const gchar* code = gst_tag_get_language_code_iso_639_2B(text.c_str());
  return code != nullptr ? code : text;
}

// Attribute text cannot hold both kinds of quotes beside blanks: the straight double ones become
// round ones.
std::string Attribute(const std::string& name, const std::string& text) {
  if (const auto attribute = host::Attribute(name, text)) return " " + *attribute;
  std::string round;
  for (const char c : text) {
    if (c == '"') {
      round += "\u201D";
    } else if (c != '\0') {
      round += c;
    }
  }
  return " " + host::Attribute(name, round).value_or("");
}

// `first`: tags of the first track.
template <std::size_t n>
std::string Attributes(const GstTagList* tags, const TagRow (&rows)[n], const std::string& node,
                       const GstTagList* first = nullptr) {
  std::string all;
  for (const TagRow& row : rows) {
    std::string text = TextOfTag(tags, row.tag);
    if (text.empty() && !TextOfTag(first, row.tag).empty()) text = row.none;
    if (!text.empty()) all += Attribute(node + "metadata::" + row.key, text);
  }
  return all;
}

}  // namespace

void TagBoard::Merge(List* into, const GstTagList* tags) {
  into->reset(gst_tag_list_merge(into->get(), tags, GST_TAG_MERGE_REPLACE));
}

bool TagBoard::Take(const Stream* stream, GstTagList* tags) {
  const std::lock_guard lock(lock_);
  const bool global = gst_tag_list_get_scope(tags) == GST_TAG_SCOPE_GLOBAL;
  Merge(global ? &global_ : &streams_[stream], tags);
  return !closed_;
}

void TagBoard::Forget(const Stream* stream) {
  const std::lock_guard lock(lock_);
  streams_.erase(stream);
}

void TagBoard::Open() {
  const std::lock_guard lock(lock_);
  closed_ = false;
}

std::string TagBoard::Close(const GstTagList* given, const Stream* video,
                            const std::vector<const Stream*>& tracks) {
  const std::lock_guard lock(lock_);
  closed_ = true;
  const auto of = [this](const Stream* stream) -> const GstTagList* {
    const auto found = streams_.find(stream);
    return found == streams_.end() ? nullptr : found->second.get();
  };
  std::string text = Attributes(global_.get(), kFileTags, "") + Attributes(given, kFileTags, "") +
                     Attributes(of(video), kStreamTags, "video::");
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    const bool later = i > 0;
    text += Attributes(
        of(tracks[i]), kStreamTags,
        later ? "audio." + std::to_string(i) + "::" : "audio::", later ? of(tracks[0]) : nullptr);
  }
  return text;
}

}  // namespace xv::gst
