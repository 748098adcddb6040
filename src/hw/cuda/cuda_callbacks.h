#pragma once

#include <memory>

#include "hw/cuda/cuda_api.h"
#include "hw/cuda/cuda_packets.h"

namespace xv {

// What is registered with the library.
CudaCallbacks CudaCallbackRecord();

// Makes the callbacks that carry its token reach `packets`, as long as it lives. A token is never
// used again, and a callback with one that has gone does nothing: the vendor may call late. Only
// what it has borrowed to write into lives on, until it is given back.
class CudaListener {
 public:
  explicit CudaListener(std::shared_ptr<CudaPackets> packets);
  ~CudaListener();
  CudaListener(const CudaListener&) = delete;
  CudaListener& operator=(const CudaListener&) = delete;

  // The user pointer of the registration; points to nothing.
  void* Token() const;

 private:
  std::uintptr_t token_;
};

}  // namespace xv
