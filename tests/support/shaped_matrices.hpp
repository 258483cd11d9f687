// CSR matrices of chosen row lengths, for tests that need exact row statistics.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "support/sparse_matrices.hpp"

namespace vrt_test {

// Row r holds lengths[r] entries in distinct columns (r + 7k mod ncols, k = 0, 1, ...), so
// ncols must be at least each length (and 7 must not divide ncols when a length exceeds
// ncols / 7).
template <typename T, typename I>
csr_matrix<T, I> shaped_csr(const std::vector<std::int64_t>& lengths, std::int64_t ncols,
                            unsigned seed, int base = 0) {
  std::mt19937 rng(seed);
  csr_matrix<T, I> m;
  m.nrows = static_cast<std::int64_t>(lengths.size());
  m.ncols = ncols;
  m.base = base;
  m.row_ptr.push_back(static_cast<I>(base));
  for (std::size_t r = 0; r < lengths.size(); ++r) {
    for (std::int64_t k = 0; k < lengths[r]; ++k) {
      m.col_ind.push_back(static_cast<I>((static_cast<std::int64_t>(r) + 7 * k) % ncols + base));
      m.values.push_back(random_value<T>(rng));
    }
    m.row_ptr.push_back(static_cast<I>(m.values.size() + base));
  }
  return m;
}

template <typename T, typename I>
csr_matrix<T, I> uniform_csr(std::int64_t nrows, std::int64_t length, std::int64_t ncols,
                             unsigned seed, int base = 0) {
  return shaped_csr<T, I>(std::vector<std::int64_t>(static_cast<std::size_t>(nrows), length), ncols,
                          seed, base);
}

}  // namespace vrt_test
