#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "base/ref.h"
#include "base/text.h"
#include "frames/host_frame.h"
#include "xvrecord/host_items.h"
#include "xvwriter/frames.h"

namespace xv::test {

// A frame of the built-in factory without picture, to which things are attached.
class CaptionFrame {
 public:
  explicit CaptionFrame(std::int64_t start = 0, double rate = 25) {
    XvFrameDesc desc{};
    desc.cbSize = sizeof(desc);
    desc.time.rtStart = start;
    desc.props.vid.dblRate = rate;
    EXPECT_EQ(BuiltInFrameFactory()->FrameCreate(&desc, frame_.Receive()), S_OK);
    extras_ = Query<IXvFrameExtras>(frame_.get());
  }

  CaptionFrame& Bytes(const char (&key)[5], std::vector<std::uint8_t> bytes) {
    kept_.push_back(std::move(bytes));
    extras_->ExtraSet(FourCC(key), static_cast<std::uint32_t>(kept_.back().size()),
                      kept_.back().data(), nullptr);
    return *this;
  }
  CaptionFrame& Word(std::uint32_t word) {
    return Bytes("C608",
                 {static_cast<std::uint8_t>(word), static_cast<std::uint8_t>(word >> 8),
                  static_cast<std::uint8_t>(word >> 16), static_cast<std::uint8_t>(word >> 24)});
  }
  CaptionFrame& Number(const char* name, std::int64_t value) {
    extras_->NumberSet(Utf16FromUtf8(name).c_str(), value);
    return *this;
  }
  CaptionFrame& Text(const char* name, const char* value) {
    extras_->TextSet(Utf16FromUtf8(name).c_str(), Utf16FromUtf8(value).c_str());
    return *this;
  }
  CaptionFrame& Node(IXvNode* node) {
    extras_->NodeSet(node);
    return *this;
  }

  IXvFrame& operator*() { return *frame_; }
  IXvFrame* get() { return frame_.get(); }

 private:
  Ref<IXvFrame> frame_;
  Ref<IXvFrameExtras> extras_;
  std::vector<std::vector<std::uint8_t>> kept_;
};

}  // namespace xv::test
