// The Matrix Market reader: whole tokens, the declared entry count exactly, every refusal with
// the file's name and line.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <vector>

#include "matrix_market.hpp"
#include "numbers.hpp"

namespace orvane::vrt::matrix_market {

namespace {

// Lines of the format are short; the bound keeps a file without line breaks (a binary file, a
// stream of zeros) from growing memory until it runs out.
constexpr std::size_t longest_line = std::size_t{1} << 20;
// A header's count alone reserves no more than this: a false count must not allocate.
constexpr std::int64_t reserved_entries = std::int64_t{1} << 16;
// Row and column indices and a complex value per entry: counts beyond this cannot be held.
constexpr std::int64_t largest_count =
    PTRDIFF_MAX /
    static_cast<std::int64_t>(2 * sizeof(std::int64_t) + sizeof(std::complex<double>));

std::string lower(std::string_view s) {
  std::string out(s);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

std::string quoted(std::string_view word) { return "'" + std::string(word) + "'"; }

// Reads lines into whitespace-separated words and names the file and line in refusals.
class line_reader {
 public:
  line_reader(std::istream& in, const std::string& name) : in_(in), name_(name) {}

  [[noreturn]] void fail(const std::string& why) const {
    throw format_error(name_ + ":" + std::to_string(line_) + ": " + why);
  }

  // The next line's words; false at the end of the input. The buffer grows with the longest
  // line so far, up to the bound.
  bool next() {
    std::size_t stored = 0;
    for (;;) {
      in_.getline(buffer_.data() + stored, static_cast<std::streamsize>(buffer_.size() - stored));
      if (in_.bad()) fail("read error");
      const auto count = static_cast<std::size_t>(in_.gcount());
      if (!in_.fail()) {
        stored += in_.eof() ? count : count - 1;  // the line break is extracted, not stored
        break;
      }
      if (count == 0) {  // the input ended
        if (stored == 0) return false;
        break;
      }
      // The buffer is full and the line goes on.
      stored += count;
      if (buffer_.size() > longest_line) {
        ++line_;
        fail("line longer than " + std::to_string(longest_line) + " bytes");
      }
      in_.clear();
      buffer_.resize(std::min(2 * buffer_.size() - 1, longest_line + 1));
    }
    ++line_;
    split({buffer_.data(), stored});
    return true;
  }

  // The next line with words that is not a comment; false at the end of the input.
  bool next_content() {
    while (next())
      if (!words.empty() && words[0][0] != '%') return true;
    return false;
  }

  std::int64_t line() const { return line_; }

  std::vector<std::string_view> words;

 private:
  void split(std::string_view text) {
    static constexpr std::string_view space = " \t\r\v\f";
    words.clear();
    std::size_t k = text.find_first_not_of(space);
    while (k != std::string_view::npos) {
      const std::size_t end = std::min(text.find_first_of(space, k), text.size());
      words.push_back(text.substr(k, end - k));
      k = text.find_first_not_of(space, end);
    }
  }

  std::istream& in_;
  const std::string& name_;
  // Room for a line and getline's terminating zero.
  std::vector<char> buffer_ = std::vector<char>(1025);
  std::int64_t line_ = 0;
};

field parse_field(const line_reader& r, std::string_view word) {
  const std::string w = lower(word);
  if (w == "real" || w == "double") return field::real;
  if (w == "integer") return field::integer;
  if (w == "complex") return field::complex;
  if (w == "pattern") return field::pattern;
  r.fail("unknown field " + quoted(word));
}

symmetry parse_symmetry(const line_reader& r, std::string_view word) {
  const std::string w = lower(word);
  if (w == "general") return symmetry::general;
  if (w == "symmetric") return symmetry::symmetric;
  if (w == "skew-symmetric") return symmetry::skew_symmetric;
  if (w == "hermitian") return symmetry::hermitian;
  r.fail("unknown symmetry " + quoted(word));
}

void read_banner(line_reader& r, coordinate_matrix& m) {
  if (!r.next()) r.fail("empty input");
  const auto& w = r.words;
  if (w.empty() || w[0] != "%%MatrixMarket") r.fail("missing %%MatrixMarket banner");
  if (w.size() != 5)
    r.fail("the banner has " + std::to_string(w.size()) +
           " words, not 5 (%%MatrixMarket matrix coordinate FIELD SYMMETRY)");
  if (lower(w[1]) != "matrix") r.fail("only matrices are supported");
  if (lower(w[2]) != "coordinate") r.fail("only coordinate matrices can be read");
  m.value_field = parse_field(r, w[3]);
  m.kind = parse_symmetry(r, w[4]);
  if (m.kind == symmetry::hermitian && m.value_field != field::complex)
    r.fail("a Hermitian matrix needs complex values");
}

std::int64_t parse_count(const line_reader& r, std::string_view word, const char* what) {
  std::int64_t value = 0;
  const number_status status = parse_integer(word, value);
  if (status == number_status::out_of_range)
    r.fail(std::string("number of ") + what + " " + quoted(word) + " is out of range");
  if (status != number_status::ok || value < 0)
    r.fail(std::string("bad number of ") + what + " " + quoted(word));
  return value;
}

// The number of entries the size line declares.
std::int64_t read_size_line(line_reader& r, coordinate_matrix& m) {
  if (!r.next_content()) r.fail("missing size line");
  if (r.words.size() != 3)
    r.fail("the size line has " + std::to_string(r.words.size()) +
           " words, not 3 (rows, columns, entries)");
  m.size_line = r.line();
  m.rows = parse_count(r, r.words[0], "rows");
  m.cols = parse_count(r, r.words[1], "columns");
  const std::int64_t entries = parse_count(r, r.words[2], "entries");
  if (entries > largest_count)
    r.fail(std::to_string(entries) + " entries are more than memory can hold");
  if (m.kind != symmetry::general && m.rows != m.cols)
    r.fail("a symmetric kind needs a square matrix");
  return entries;
}

// A one-based index within 1..extent, returned zero-based.
std::int64_t parse_index(const line_reader& r, std::string_view word, const char* what,
                         std::int64_t extent) {
  std::int64_t value = 0;
  const number_status status = parse_integer(word, value);
  if (status == number_status::malformed)
    r.fail(std::string(what) + " index " + quoted(word) + " is not a whole number");
  if (status == number_status::out_of_range || value < 1 || value > extent)
    r.fail(std::string(what) + " index " + std::string(word) + " is outside 1.." +
           std::to_string(extent));
  return value - 1;
}

double parse_value(const line_reader& r, std::string_view word, field f, const char* what) {
  if (f == field::integer) {
    std::int64_t value = 0;
    const number_status status = parse_integer(word, value);
    if (status == number_status::out_of_range)
      r.fail(std::string(what) + " " + quoted(word) + " is out of range for an integer");
    if (status != number_status::ok)
      r.fail(std::string(what) + " " + quoted(word) + " is not an integer");
    return static_cast<double>(value);
  }
  double value = 0;
  if (!parse_real(word, value))
    r.fail(std::string(what) + " " + quoted(word) + " is not a real number");
  return value;
}

std::size_t words_per_entry(field f) {
  return f == field::pattern ? 2 : (f == field::complex ? 4 : 3);
}

const char* entry_layout(field f) {
  switch (f) {
    case field::pattern:
      return "row, column";
    case field::complex:
      return "row, column, real part, imaginary part";
    default:
      return "row, column, value";
  }
}

void read_entry(const line_reader& r, coordinate_matrix& m) {
  const auto& w = r.words;
  if (w.size() != words_per_entry(m.value_field))
    r.fail("an entry has " + std::to_string(w.size()) + " words, not " +
           std::to_string(words_per_entry(m.value_field)) + " (" + entry_layout(m.value_field) +
           ")");
  const std::int64_t i = parse_index(r, w[0], "row", m.rows);
  const std::int64_t j = parse_index(r, w[1], "column", m.cols);
  std::complex<double> v = 1.0;
  if (m.value_field == field::complex)
    v = {parse_value(r, w[2], field::real, "real part"),
         parse_value(r, w[3], field::real, "imaginary part")};
  else if (m.value_field != field::pattern)
    v = parse_value(r, w[2], m.value_field, "value");
  if (m.kind != symmetry::general && j > i) r.fail("entry above the diagonal of a symmetric kind");
  if (m.kind == symmetry::skew_symmetric && i == j)
    r.fail("diagonal entry in a skew-symmetric matrix");
  m.row.push_back(i);
  m.col.push_back(j);
  m.value.push_back(v);
}

const char* kind_of(const std::filesystem::file_status& s) {
  namespace fs = std::filesystem;
  switch (s.type()) {
    case fs::file_type::directory:
      return "a folder";
    case fs::file_type::character:
      return "a character device";
    case fs::file_type::block:
      return "a block device";
    case fs::file_type::fifo:
      return "a fifo";
    case fs::file_type::socket:
      return "a socket";
    default:
      return "of an unknown kind";
  }
}

}  // namespace

coordinate_matrix read(std::istream& in, const std::string& name) {
  line_reader r(in, name);
  coordinate_matrix m;
  read_banner(r, m);
  const std::int64_t entries = read_size_line(r, m);
  const auto reserve = static_cast<std::size_t>(std::min(entries, reserved_entries));
  m.row.reserve(reserve);
  m.col.reserve(reserve);
  m.value.reserve(reserve);
  while (static_cast<std::int64_t>(m.row.size()) < entries && r.next_content()) read_entry(r, m);
  if (static_cast<std::int64_t>(m.row.size()) != entries)
    r.fail("file ends after " + std::to_string(m.row.size()) + " of " + std::to_string(entries) +
           " entries");
  if (r.next_content())
    r.fail("entry beyond the " + std::to_string(entries) + " that the size line declares");
  return m;
}

coordinate_matrix read_file(const std::string& path) {
  // Only a regular file has an end: a device or a fifo may stream without one.
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (error) throw std::runtime_error(path + ": cannot open: " + error.message());
  if (!std::filesystem::is_regular_file(status))
    throw std::runtime_error(path + ": is " + kind_of(status) +
                             ", not a regular Matrix Market file");
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error(path + ": cannot open: " + std::strerror(errno));
  return read(in, path);
}

}  // namespace orvane::vrt::matrix_market
