// The Matrix Market reader: hand-made files of every kind, refusals, and every bundled matrix
// against SciPy's reading of it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include "matrix_market_text.hpp"

namespace mm = orvane::vrt::matrix_market;

namespace {

using matrix_market_text::parse;
using matrix_market_text::refusal;

TEST(MatrixMarket, ReadsGeneralRealWithCommentsAndZeroBasesTheIndices) {
  auto m =
      parse("%%MatrixMarket matrix coordinate real general\n% a comment\n3 4 2\n1 1 2.5\n3 4 -1\n");
  EXPECT_EQ(m.rows, 3);
  EXPECT_EQ(m.cols, 4);
  ASSERT_EQ(m.row.size(), 2u);
  EXPECT_EQ(m.row[1], 2);
  EXPECT_EQ(m.col[1], 3);
  EXPECT_EQ(m.value[0], std::complex<double>(2.5, 0));
}

TEST(MatrixMarket, ExpandsSymmetricSkewAndHermitianMirrors) {
  auto sym = mm::expand_symmetry(
      parse("%%MatrixMarket matrix coordinate real symmetric\n2 2 2\n1 1 4\n2 1 3\n"));
  ASSERT_EQ(sym.row.size(), 3u);
  EXPECT_EQ(sym.row[2], 0);
  EXPECT_EQ(sym.col[2], 1);
  EXPECT_EQ(sym.value[2], std::complex<double>(3, 0));
  auto skew = mm::expand_symmetry(
      parse("%%MatrixMarket matrix coordinate real skew-symmetric\n2 2 1\n2 1 3\n"));
  EXPECT_EQ(skew.value[1], std::complex<double>(-3, 0));
  auto herm = mm::expand_symmetry(
      parse("%%MatrixMarket matrix coordinate complex hermitian\n2 2 2\n1 1 1 0\n2 1 1 2\n"));
  EXPECT_EQ(herm.value[2], std::complex<double>(1, -2));
  auto pattern = parse("%%MatrixMarket matrix coordinate pattern general\n2 2 1\n1 2\n");
  EXPECT_EQ(pattern.value[0], std::complex<double>(1, 0));
}

TEST(MatrixMarket, RefusesMalformedInputNamingTheLine) {
  EXPECT_EQ(refusal("%%MatrixMarket matrix coordinate real general\n2 2 1\n3 1 1\n"),
            "t.mtx:3: row index 3 is outside 1..2");
  EXPECT_EQ(refusal("%%MatrixMarket matrix coordinate real general\n2 2 2\n1 1 1\n"),
            "t.mtx:3: file ends after 1 of 2 entries");
  EXPECT_EQ(refusal("%%MatrixMarket matrix coordinate real symmetric\n2 2 1\n1 2 1\n"),
            "t.mtx:3: entry above the diagonal of a symmetric kind");
  EXPECT_EQ(refusal("%%MatrixMarket matrix array real general\n2 2\n"),
            "t.mtx:1: only coordinate matrices can be read");
  EXPECT_EQ(refusal("not a banner\n"), "t.mtx:1: missing %%MatrixMarket banner");
}

TEST(MatrixMarket, WritesArraysColumnByColumn) {
  std::ostringstream out;
  mm::write_array(out, 2, 1, {{1.5, 0}, {-2, 0}}, false);
  EXPECT_EQ(out.str(), "%%MatrixMarket matrix array real general\n2 1\n1.5\n-2\n");
  std::ostringstream cout;
  mm::write_array(cout, 1, 1, {{1, -1}}, true);
  EXPECT_EQ(cout.str(), "%%MatrixMarket matrix array complex general\n1 1\n1 -1\n");
}

TEST(MatrixMarket, WrittenCoordinatesReadBackUnchanged) {
  auto m =
      mm::expand_symmetry(parse("%%MatrixMarket matrix coordinate complex hermitian\n3 3 3\n1 1 1 "
                                "0\n3 1 0.1 -0.2\n3 3 2 0\n"));
  std::ostringstream out;
  mm::write_coordinate(out, m, true);
  auto back = parse(out.str());
  EXPECT_EQ(back.row, m.row);
  EXPECT_EQ(back.col, m.col);
  EXPECT_EQ(back.value, m.value);
}

// Every bundled matrix, as this reader and as SciPy read it.
TEST(MatrixMarket, EveryBundledMatrixMatchesScipy) {
  const std::filesystem::path folder = VRT_MATRICES_DIR;
  if (!std::filesystem::exists(folder)) GTEST_SKIP() << "no matrix folder at " << folder;
  const std::string command =
      std::string(VRT_PYTHON) + " " + VRT_SCIPY_STATS + " " + folder.string();
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  char line[1024];
  int files = 0;
  while (std::fgets(line, sizeof line, pipe) != nullptr) {
    std::istringstream fields(line);
    std::string name;
    std::int64_t rows = 0, cols = 0, nnz = 0;
    double sum_re = 0, sum_im = 0, weighted_re = 0, weighted_im = 0;
    fields >> name >> rows >> cols >> nnz >> sum_re >> sum_im >> weighted_re >> weighted_im;
    SCOPED_TRACE(name);
    const auto m = mm::expand_symmetry(mm::read_file((folder / name).string()));
    EXPECT_EQ(m.rows, rows);
    EXPECT_EQ(m.cols, cols);
    EXPECT_EQ(static_cast<std::int64_t>(m.row.size()), nnz);
    std::complex<double> total = 0, weighted = 0;
    double magnitude = 0, weighted_magnitude = 0;
    for (std::size_t k = 0; k < m.row.size(); ++k) {
      const double w =
          static_cast<double>(m.row[k]) * 7.0 + static_cast<double>(m.col[k]) * 3.0 + 1.0;
      total += m.value[k];
      weighted += m.value[k] * w;
      magnitude += std::abs(m.value[k]);
      weighted_magnitude += std::abs(m.value[k]) * w;
    }
    // Sums in another order differ by rounding, bounded by the sum of magnitudes.
    const double tolerance = 1e-12 * (magnitude + 1.0);
    const double weighted_tolerance = 1e-12 * (weighted_magnitude + 1.0);
    EXPECT_NEAR(total.real(), sum_re, tolerance);
    EXPECT_NEAR(total.imag(), sum_im, tolerance);
    EXPECT_NEAR(weighted.real(), weighted_re, weighted_tolerance);
    EXPECT_NEAR(weighted.imag(), weighted_im, weighted_tolerance);
    ++files;
  }
  EXPECT_EQ(pclose(pipe), 0);
  EXPECT_GE(files, 30);
}

}  // namespace
