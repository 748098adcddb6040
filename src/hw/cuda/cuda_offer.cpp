#include "hw/cuda/cuda_offer.h"

#include "hw/cuda/cuda_session.h"

namespace xv {

CudaOffer ProbeCuda() {
  CudaOffer offer;
  CudaLibrary library;
  if (library.Load().Failed()) {
    offer.problem = library.Words();
    return offer;
  }
  CudaSession session;
  if (session.Start(library).Failed()) offer.problem = session.Failure();
  offer.adapters = session.AdapterCount();
  return offer;
}

}  // namespace xv
