#pragma once

#include <memory>
#include <utility>

#include "xvwriter/counted.hpp"
#include "xvwriter/ptr.hpp"

// How frames keep the host's memory alive. For host.hpp, not for hosts.
namespace xv::host::detail {

// The host's own memory, kept alive by a frame: the frame's last reference lets go of it.
class SharedOwner final : public Counted<IUnknown> {
 public:
  // Empty for a null `memory`.
  [[nodiscard]] static Ptr<IUnknown> Make(std::shared_ptr<const void> memory) {
    if (memory == nullptr) return {};
    return Ptr<IUnknown>::Adopt(new SharedOwner(std::move(memory)));
  }

 private:
  explicit SharedOwner(std::shared_ptr<const void> memory) : memory_(std::move(memory)) {}

  std::shared_ptr<const void> memory_;
};

// Several pieces of memory under one owner.
class OwnerList final {
 public:
  void Add(std::shared_ptr<const void> memory) {
    if (memory == nullptr) return;
    owners_ = owners_ == nullptr ? std::move(memory)
                                 : std::make_shared<Pair>(std::move(owners_), std::move(memory));
  }
  [[nodiscard]] std::shared_ptr<const void> Take() { return std::move(owners_); }

 private:
  using Pair = std::pair<std::shared_ptr<const void>, std::shared_ptr<const void>>;
  std::shared_ptr<const void> owners_;
};

}  // namespace xv::host::detail
