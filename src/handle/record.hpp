// The one way the library allocates its records: the service layer at the record alignment,
// cleared, with a failed nested initialisation rolled back.
#pragma once

#include <cstddef>
#include <cstring>
#include <orvane/vrt/sparse.hpp>

#include "platform/services.hpp"

namespace orvane::vrt::sparse {

// Records start on a cache line of their own.
inline constexpr std::size_t record_alignment = 64;

// A cleared record; host_bad_alloc("sparse", function) when the memory cannot be had.
template <typename Record>
Record* allocate_record(const char* function = "") {
  void* memory = vrt_serv_malloc(sizeof(Record), record_alignment);
  if (memory == nullptr) throw host_bad_alloc("sparse", function);
  std::memset(memory, 0, sizeof(Record));
  return static_cast<Record*>(memory);
}

// A cleared record whose nested records init(record) makes; if that throws, the record is freed
// before the exception goes on.
template <typename Record, typename Init>
Record* allocate_record(Init&& init) {
  Record* record = allocate_record<Record>();
  try {
    init(record);
  } catch (...) {
    vrt_serv_free(record);
    throw;
  }
  return record;
}

}  // namespace orvane::vrt::sparse
