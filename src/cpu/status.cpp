// The host engine's statuses as the library's exceptions, named by the routine that met them.
#include "cpu/host_calls.hpp"

namespace orvane::vrt::sparse::cpu {

void throw_for_status(sparse_status_t status, const char* word) {
  switch (status) {
    case SPARSE_STATUS_NOT_INITIALIZED:
      throw uninitialized("sparse", word, "SPARSE_STATUS_NOT_INITIALIZED");
    case SPARSE_STATUS_ALLOC_FAILED:
      throw host_bad_alloc("sparse", word);
    case SPARSE_STATUS_INVALID_VALUE:
      throw invalid_argument("sparse", word, "SPARSE_STATUS_INVALID_VALUE");
    case SPARSE_STATUS_EXECUTION_FAILED:
      throw computation_error("sparse", word, "SPARSE_STATUS_EXECUTION_FAILED");
    case SPARSE_STATUS_INTERNAL_ERROR:
      throw computation_error("sparse", word, "SPARSE_STATUS_INTERNAL_ERROR");
    case SPARSE_STATUS_NOT_SUPPORTED:
      throw unimplemented("sparse", word, "SPARSE_STATUS_NOT_SUPPORTED");
    default:
      return;
  }
}

}  // namespace orvane::vrt::sparse::cpu
