#pragma once

#include <gst/gst.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// What the streams say of themselves (title, artist, language), for the file.
namespace xv::gst {

struct Stream;

// Tag events of the pads until the recording opens. Threads: any.
class TagBoard {
 public:
  // Takes an event over: tags of global scope are the file's, others the stream's. False when the
  // recording has begun, and what is new is left out.
  bool Take(const Stream* stream, GstTagList* tags);
  void Forget(const Stream* stream);
  // The element starts anew: streams keep what they said.
  void Open();
  // Attribute text with a blank ahead of each: the user's own (`given`, may be null), the events',
  // and those of the streams. `tracks` are those of the sound, in order; `video` may be null.
  std::string Close(const GstTagList* given, const Stream* video,
                    const std::vector<const Stream*>& tracks);

 private:
  struct ListDeleter {
    void operator()(GstTagList* list) const { gst_tag_list_unref(list); }
  };
  using List = std::unique_ptr<GstTagList, ListDeleter>;

  static void Merge(List* into, const GstTagList* tags);

  std::mutex lock_;  // guards all; a leaf
  List global_;
  std::map<const Stream*, List> streams_;
  bool closed_ = false;
};

}  // namespace xv::gst
