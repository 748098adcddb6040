#include <mutex>

#include "xvrecord/input.h"

namespace xvrecord {

struct BlockPool::Shelf {
  std::mutex lock;
  std::vector<std::unique_ptr<std::vector<std::uint8_t>>> free;
};

BlockPool::BlockPool() : shelf_(std::make_shared<Shelf>()) {}

std::shared_ptr<std::vector<std::uint8_t>> BlockPool::Get(std::size_t bytes) {
  std::unique_ptr<std::vector<std::uint8_t>> block;
  {
    const std::lock_guard guard(shelf_->lock);
    if (!shelf_->free.empty()) {
      block = std::move(shelf_->free.back());
      shelf_->free.pop_back();
    }
  }
  if (!block) block = std::make_unique<std::vector<std::uint8_t>>();
  block->resize(bytes);
  return {block.release(), [shelf = shelf_](std::vector<std::uint8_t>* used) {
            std::unique_ptr<std::vector<std::uint8_t>> owned(used);
            const std::lock_guard guard(shelf->lock);
            shelf->free.push_back(std::move(owned));
          }};
}

}  // namespace xvrecord
