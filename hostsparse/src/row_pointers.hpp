// What one pass over CSR row pointers tells: whether they are valid, how many entries they
// hold, and whether rows start in ascending order (which lets calls split rows by a binary
// search).
#pragma once

#include <cstdint>

namespace vrt_host {

struct row_pointer_scan {
  bool valid = true;  // no row ends before it starts or starts below the base
  bool monotone = true;
  std::int64_t nnz = 0;
};

template <typename I>
row_pointer_scan scan_row_pointers(const I* rows_start, const I* rows_end, I rows, int base) {
  row_pointer_scan s;
  for (I i = 0; i < rows; ++i) {
    if (rows_end[i] < rows_start[i] || rows_start[i] < base) return {false, false, 0};
    if (i > 0 && rows_start[i] < rows_start[i - 1]) s.monotone = false;
    s.nnz += rows_end[i] - rows_start[i];
  }
  return s;
}

}  // namespace vrt_host
