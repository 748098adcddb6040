#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/buffer.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
#include <libavutil/mem.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

// FFmpeg's objects as owners. Nothing else in the library calls their free functions.
namespace xv {

struct AvDeleter {
  void operator()(AVFrame* p) const { av_frame_free(&p); }
  void operator()(AVPacket* p) const { av_packet_free(&p); }
  void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
  // The AVIOContext in `pb` is not this context's: its owner closes it.
  void operator()(AVFormatContext* p) const { avformat_free_context(p); }
  void operator()(AVCodecParameters* p) const { avcodec_parameters_free(&p); }
  void operator()(AVBufferRef* p) const { av_buffer_unref(&p); }
  void operator()(AVBSFContext* p) const { av_bsf_free(&p); }
  void operator()(SwsContext* p) const { sws_freeContext(p); }
  void operator()(SwrContext* p) const { swr_free(&p); }
  // One that avio_alloc_context made, with its buffer.
  void operator()(AVIOContext* p) const {
    av_freep(&p->buffer);
    avio_context_free(&p);
  }
};

template <class T>
using AvPtr = std::unique_ptr<T, AvDeleter>;

// A demuxing context, closed with its file.
struct AvInputCloser {
  void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
using AvInput = std::unique_ptr<AVFormatContext, AvInputCloser>;

// A context over callbacks that get `opaque`: for writing where `write` is given, else for reading.
// Null `seek`: it cannot be sought in. Null for want of memory.
inline AvPtr<AVIOContext> MakeIoContext(int bufferBytes, void* opaque,
                                        decltype(AVIOContext::read_packet) read,
                                        decltype(AVIOContext::write_packet) write,
                                        decltype(AVIOContext::seek) seek) {
  auto* buffer = static_cast<unsigned char*>(av_malloc(static_cast<std::size_t>(bufferBytes)));
  if (buffer == nullptr) return nullptr;
  AvPtr<AVIOContext> io(
      avio_alloc_context(buffer, bufferBytes, write != nullptr, opaque, read, write, seek));
  if (!io) av_free(buffer);
  return io;
}

// Sets an entry of a dictionary; std::bad_alloc where there is no memory for it.
inline void SetEntry(AVDictionary** dict, const char* key, const char* value, int flags = 0) {
  if (av_dict_set(dict, key, value, flags) == AVERROR(ENOMEM)) throw std::bad_alloc();
}

// An option dictionary. What finds no memory is std::bad_alloc. The pointer inside changes with
// every call that sets or consumes an entry.
class AvDictionary {
 public:
  AvDictionary() = default;
  AvDictionary(const AvDictionary& other) : AvDictionary() {
    if (av_dict_copy(&dict_, other.dict_, 0) < 0) throw std::bad_alloc();
  }
  AvDictionary(AvDictionary&& other) noexcept : dict_(other.dict_) { other.dict_ = nullptr; }
  AvDictionary& operator=(AvDictionary other) noexcept {
    std::swap(dict_, other.dict_);
    return *this;
  }
  ~AvDictionary() { av_dict_free(&dict_); }

  void Set(const char* key, const char* value, int flags = 0) {
    SetEntry(&dict_, key, value, flags);
  }
  void Remove(const char* key) { av_dict_set(&dict_, key, nullptr, 0); }
  const char* Find(const char* key) const {
    const AVDictionaryEntry* entry = av_dict_get(dict_, key, nullptr, 0);
    return entry == nullptr ? nullptr : entry->value;
  }
  AVDictionary** Address() { return &dict_; }
  const AVDictionary* get() const { return dict_; }

  template <class Fn>
  void ForEach(Fn&& fn) const {
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(dict_, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
      fn(entry->key, entry->value);
    }
  }

 private:
  AVDictionary* dict_ = nullptr;
};

}  // namespace xv
