// The settings record of a staged sparse product.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>

namespace orvane::vrt::sparse {

struct matmat_descr {
  bool sort_output;
  matrix_view_descr view_a;
  matrix_view_descr view_b;
  matrix_view_descr view_c;
  matrix_view_descr view_d;
  transpose op_a;
  transpose op_b;
  std::int32_t reserved_word;  // -1
  std::uint8_t reserved_bytes[16];
};

void set_matmat_data_impl(matmat_descr* descr, matrix_view_descr view_a, transpose op_a,
                          matrix_view_descr view_b, transpose op_b, matrix_view_descr view_c);
void set_matmat_data_impl(matmat_descr* descr, bool sort_output);

}  // namespace orvane::vrt::sparse
