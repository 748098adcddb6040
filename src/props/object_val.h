#pragma once

#include <mutex>
#include <utility>

#include "base/auto_obj_base.h"
#include "tree/node.h"

namespace xv {

// A counted holder of a node, which two objects share: what one puts in, the other reads.
// Thread-safety: safe.
class ObjectVal final : public AutoObjBase<ObjectVal> {
 public:
  explicit ObjectVal(XMLParse::XMLNodePtr node) : node_(std::move(node)) {}

  XMLParse::XMLNodePtr Node() const {
    const std::lock_guard guard(lock_);
    return node_;
  }
  void SetNode(XMLParse::XMLNodePtr node) {
    const std::lock_guard guard(lock_);
    std::swap(node_, node);
  }

 private:
  mutable std::mutex lock_;  // guards node_; a leaf
  XMLParse::XMLNodePtr node_;
};

}  // namespace xv
