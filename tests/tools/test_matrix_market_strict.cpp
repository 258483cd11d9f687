// The Matrix Market reader takes exactly the format: whole tokens, the declared entry
// count, indices within the sizes, regular files; each refusal names the file, line and reason.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>

#include "matrix_market_text.hpp"
#include "numbers.hpp"

namespace mm = orvane::vrt::matrix_market;

namespace {

using matrix_market_text::parse;
using matrix_market_text::refusal;

const std::string real_header = "%%MatrixMarket matrix coordinate real general\n";

// One entry line of a 2 x 2 matrix of a field.
std::string one_entry(const std::string& field, const std::string& entry) {
  return "%%MatrixMarket matrix coordinate " + field + " general\n2 2 1\n" + entry + "\n";
}

TEST(MatrixMarketStrict, RefusesNumbersReadOnlyInPart) {
  for (const char* value : {"2,5", "2.5abc", "0x1p", "0x", "1d3", "nan(1", "nan()x", "1e", ".",
                            "--1", "1_0", "infinit", "e5"})
    EXPECT_EQ(refusal(one_entry("real", std::string("1 1 ") + value)),
              std::string("t.mtx:3: value '") + value + "' is not a real number");
  EXPECT_EQ(refusal(one_entry("real", "1.0 1 2")),
            "t.mtx:3: row index '1.0' is not a whole number");
  EXPECT_EQ(refusal(one_entry("real", "1 2x 2")),
            "t.mtx:3: column index '2x' is not a whole number");
  EXPECT_EQ(refusal(one_entry("integer", "1 1 1.5")), "t.mtx:3: value '1.5' is not an integer");
  EXPECT_EQ(refusal(one_entry("complex", "1 1 1 2i")),
            "t.mtx:3: imaginary part '2i' is not a real number");
  EXPECT_EQ(refusal(real_header + "2x 2 1\n1 1 1\n"), "t.mtx:2: bad number of rows '2x'");
}

TEST(MatrixMarketStrict, ReadsNanInfinityAndExponentsBeyondRange) {
  auto m = parse(real_header +
                 "1 9 9\n1 1 nan\n1 2 -NaN\n1 3 inf\n1 4 -Infinity\n1 5 1e400\n1 6 -1e400\n"
                 "1 7 1e-400\n1 8 +.5\n1 9 5.E1\n");
  EXPECT_TRUE(std::isnan(m.value[0].real()));
  EXPECT_TRUE(std::isnan(m.value[1].real()));
  EXPECT_EQ(m.value[2].real(), std::numeric_limits<double>::infinity());
  EXPECT_EQ(m.value[3].real(), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(m.value[4].real(), std::numeric_limits<double>::infinity());
  EXPECT_EQ(m.value[5].real(), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(m.value[6].real(), 0.0);
  EXPECT_EQ(m.value[7].real(), 0.5);
  EXPECT_EQ(m.value[8].real(), 50.0);
}

TEST(MatrixMarketStrict, ReadsEveryRealNumberStrtodReadsInFull) {
  auto m = parse(real_header +
                 "1 6 6\n1 1 0x1p3\n1 2 -0X1.8P1\n1 3 0x10\n1 4 nan(1)\n1 5 -NAN(payload_2)\n"
                 "1 6 +INFINITY\n");
  EXPECT_EQ(m.value[0].real(), 8.0);
  EXPECT_EQ(m.value[1].real(), -3.0);
  EXPECT_EQ(m.value[2].real(), 16.0);
  EXPECT_TRUE(std::isnan(m.value[3].real()));
  EXPECT_TRUE(std::isnan(m.value[4].real()));
  EXPECT_TRUE(std::signbit(m.value[4].real()));
  EXPECT_EQ(m.value[5].real(), std::numeric_limits<double>::infinity());
  // Complex parts too.
  auto c = parse("%%MatrixMarket matrix coordinate complex general\n1 1 1\n1 1 0x1p-1 -0x1p2\n");
  EXPECT_EQ(c.value[0], std::complex<double>(0.5, -4.0));
}

TEST(MatrixMarketStrict, ReadsWhitespaceBlankLinesAndCommentsBetweenEntries) {
  auto m = parse(
      "%%MatrixMarket matrix coordinate real general\r\n% c\r\n\r\n 2\t2 2 \r\n"
      "%x\n\n  1 1 1\r\n\t2 2\t2\n% after\n   \n");
  ASSERT_EQ(m.row.size(), 2u);
  EXPECT_EQ(m.value[1], std::complex<double>(2, 0));
}

TEST(MatrixMarketStrict, RefusesExtraAndMissingWords) {
  EXPECT_EQ(refusal(one_entry("real", "1 1 2.5 7")),
            "t.mtx:3: an entry has 4 words, not 3 (row, column, value)");
  EXPECT_EQ(refusal(one_entry("pattern", "1 1 5")),
            "t.mtx:3: an entry has 3 words, not 2 (row, column)");
  EXPECT_EQ(refusal(one_entry("complex", "1 1 5")),
            "t.mtx:3: an entry has 3 words, not 4 (row, column, real part, imaginary part)");
  EXPECT_EQ(refusal(one_entry("real", "1 1")),
            "t.mtx:3: an entry has 2 words, not 3 (row, column, value)");
  EXPECT_EQ(refusal(real_header + "2 2 1 5\n1 1 1\n"),
            "t.mtx:2: the size line has 4 words, not 3 (rows, columns, entries)");
  EXPECT_EQ(refusal("%%MatrixMarket matrix coordinate real general extra\n2 2 1\n1 1 1\n"),
            "t.mtx:1: the banner has 6 words, not 5 (%%MatrixMarket matrix coordinate FIELD "
            "SYMMETRY)");
  EXPECT_EQ(refusal(""), "t.mtx:0: empty input");
  EXPECT_EQ(refusal(real_header), "t.mtx:1: missing size line");
}

TEST(MatrixMarketStrict, TakesExactlyTheDeclaredEntryCount) {
  EXPECT_EQ(refusal(real_header + "2 2 1\n1 1 1\n2 2 2\n"),
            "t.mtx:4: entry beyond the 1 that the size line declares");
  EXPECT_EQ(refusal(real_header + "2 2 0\n% none\n1 1 1\n"),
            "t.mtx:4: entry beyond the 0 that the size line declares");
  EXPECT_EQ(refusal(real_header + "2 2 3\n1 1 1\n\n2 2 2\n"),
            "t.mtx:5: file ends after 2 of 3 entries");
  // A count that only the header claims allocates nothing before the file ends.
  EXPECT_EQ(refusal(real_header + "2 2 1000000000000\n1 1 1\n"),
            "t.mtx:3: file ends after 1 of 1000000000000 entries");
}

TEST(MatrixMarketStrict, RangeChecksSizesAndIndices) {
  EXPECT_EQ(refusal(one_entry("real", "99999999999999999999 1 1")),
            "t.mtx:3: row index 99999999999999999999 is outside 1..2");
  EXPECT_EQ(refusal(one_entry("real", "1 -1 1")), "t.mtx:3: column index -1 is outside 1..2");
  EXPECT_EQ(refusal(one_entry("real", "1 0 1")), "t.mtx:3: column index 0 is outside 1..2");
  EXPECT_EQ(refusal(real_header + "9223372036854775808 1 0\n"),
            "t.mtx:2: number of rows '9223372036854775808' is out of range");
  EXPECT_EQ(refusal(real_header + "2 -2 0\n"), "t.mtx:2: bad number of columns '-2'");
  EXPECT_EQ(refusal(real_header + "2 2 4611686018427387904\n"),
            "t.mtx:2: 4611686018427387904 entries are more than memory can hold");
  EXPECT_EQ(refusal(one_entry("integer", "1 1 9223372036854775808")),
            "t.mtx:3: value '9223372036854775808' is out of range for an integer");
  // Sizes beyond 32 bits are the driver's to refuse for a 32-bit index width.
  auto wide = parse(real_header + "3000000000 5000000000 1\n2999999999 4999999999 1\n");
  EXPECT_EQ(wide.rows, 3000000000);
  EXPECT_EQ(wide.col[0], 4999999998);
}

TEST(MatrixMarketStrict, BoundsLinesAt1MiB) {
  const std::string zeros(std::size_t{3} << 20, '\0');
  EXPECT_EQ(refusal(zeros), "t.mtx:1: line longer than 1048576 bytes");
  const std::size_t bound = std::size_t{1} << 20;
  EXPECT_EQ(refusal(real_header + std::string(bound + 1, '%') + "\n1 1 0\n"),
            "t.mtx:2: line longer than 1048576 bytes");
  // Comments up to the bound, with or without a line break at the end, are read.
  for (const std::size_t length : {std::size_t{1024}, std::size_t{1025}, std::size_t{5000}, bound})
    for (const char* end : {"\n", ""}) {
      const std::string comment = "%" + std::string(length - 1, 'c');
      EXPECT_EQ(parse(real_header + comment + "\n1 1 1\n1 1 2\n" + comment + end).value[0],
                std::complex<double>(2, 0))
          << length;
    }
}

// A temporary folder removed with what it holds.
struct scratch_folder {
  scratch_folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "mm_strict_XXXXXX").string();
    path = mkdtemp(pattern.data());
  }
  ~scratch_folder() { std::filesystem::remove_all(path); }
  std::filesystem::path path;
};

std::string file_refusal(const std::string& path) {
  try {
    mm::read_file(path);
  } catch (const std::exception& e) {
    return e.what();
  }
  return "accepted";
}

TEST(MatrixMarketStrict, RefusesWhatIsNotARegularFile) {
  scratch_folder folder;
  const std::string dir = folder.path.string();
  EXPECT_EQ(file_refusal(dir), dir + ": is a folder, not a regular Matrix Market file");
  EXPECT_EQ(file_refusal("/dev/zero"),
            "/dev/zero: is a character device, not a regular Matrix Market file");
  const std::string fifo = (folder.path / "pipe").string();
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(file_refusal(fifo), fifo + ": is a fifo, not a regular Matrix Market file");
  const std::string missing = (folder.path / "missing.mtx").string();
  EXPECT_EQ(file_refusal(missing), missing + ": cannot open: No such file or directory");
  const std::string bad = (folder.path / "bad.mtx").string();
  std::ofstream(bad) << real_header << "1 1 1\n1 1 2,5\n";
  EXPECT_EQ(file_refusal(bad), bad + ":3: value '2,5' is not a real number");
}

TEST(MatrixMarketNumbers, IntegersAreWholeDecimalTokens) {
  std::int64_t v = 0;
  EXPECT_EQ(mm::parse_integer("+42", v), mm::number_status::ok);
  EXPECT_EQ(v, 42);
  EXPECT_EQ(mm::parse_integer("-9223372036854775808", v), mm::number_status::ok);
  EXPECT_EQ(v, std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(mm::parse_integer("9223372036854775808", v), mm::number_status::out_of_range);
  for (const char* t : {"", "+", "-", "+-1", "32abc", "1e3", " 1", "0x10", "1.0"})
    EXPECT_EQ(mm::parse_integer(t, v), mm::number_status::malformed) << t;
}

TEST(MatrixMarketNumbers, RealsAreWholeTokensThatStrtodReads) {
  double v = 0;
  EXPECT_TRUE(mm::parse_real("-1.25e-1", v));
  EXPECT_EQ(v, -0.125);
  EXPECT_TRUE(mm::parse_real("INF", v));
  EXPECT_EQ(v, std::numeric_limits<double>::infinity());
  EXPECT_TRUE(mm::parse_real("0x1p3", v));
  EXPECT_EQ(v, 8.0);
  v = 0;
  EXPECT_TRUE(mm::parse_real("nan(0)", v));
  EXPECT_TRUE(std::isnan(v));
  for (const char* t : {"", "+", "1,2", "0x1p", "1e+", "nan(0", " 1.5", "1.5 ", "inf1", "1..2"})
    EXPECT_FALSE(mm::parse_real(t, v)) << t;
  EXPECT_FALSE(mm::parse_real(std::string_view("1\0"
                                               "5",
                                               3),
                              v))
      << "a zero byte inside";
}

}  // namespace
