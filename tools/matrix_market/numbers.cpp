// Whole-token decimal numbers.
#include "numbers.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <string>

namespace orvane::vrt::matrix_market {

namespace {

bool digit(char c) { return c >= '0' && c <= '9'; }

// Skips digits from position k on; returns how many.
std::size_t skip_digits(std::string_view t, std::size_t& k) {
  const std::size_t start = k;
  while (k < t.size() && digit(t[k])) ++k;
  return k - start;
}

bool equals_lower(std::string_view t, std::string_view word) {
  return t.size() == word.size() &&
         std::equal(t.begin(), t.end(), word.begin(), [](char a, char b) {
           return std::tolower(static_cast<unsigned char>(a)) == b;
         });
}

// The decimal grammar of a real number. strtod reads more than this: hexadecimal floats
// (0x1p3) and NaN payloads (nan(1)). The format's numbers are decimal, and SciPy refuses both,
// so they stop here before strtod sees them.
bool decimal_real(std::string_view t) {
  std::size_t k = 0;
  if (k < t.size() && (t[k] == '+' || t[k] == '-')) ++k;
  const std::string_view word = t.substr(k);
  if (equals_lower(word, "nan") || equals_lower(word, "inf") || equals_lower(word, "infinity"))
    return true;
  std::size_t mantissa = skip_digits(t, k);
  if (k < t.size() && t[k] == '.') {
    ++k;
    mantissa += skip_digits(t, k);
  }
  if (mantissa == 0) return false;
  if (k < t.size() && (t[k] == 'e' || t[k] == 'E')) {
    ++k;
    if (k < t.size() && (t[k] == '+' || t[k] == '-')) ++k;
    if (skip_digits(t, k) == 0) return false;
  }
  return k == t.size();
}

}  // namespace

number_status parse_integer(std::string_view token, std::int64_t& value) {
  // from_chars takes a minus sign but no plus sign: one sign at most, a plus dropped.
  std::string_view number = token;
  if (!number.empty() && number[0] == '+') number.remove_prefix(1);
  const std::string_view digits = token.empty() || token[0] != '-' ? number : number.substr(1);
  if (digits.empty() || !std::all_of(digits.begin(), digits.end(), digit))
    return number_status::malformed;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (error == std::errc::result_out_of_range) return number_status::out_of_range;
  return error == std::errc() && end == number.data() + number.size() ? number_status::ok
                                                                      : number_status::malformed;
}

bool parse_real(std::string_view token, double& value) {
  if (!decimal_real(token)) return false;
  // strtod needs a terminated string. Out-of-range exponents set errno and give infinity or
  // zero, which is the value wanted; the tools never change the C locale, so the point is '.'.
  const std::string text(token);
  char* end = nullptr;
  const double v = std::strtod(text.c_str(), &end);
  if (end != text.c_str() + text.size()) return false;
  value = v;
  return true;
}

}  // namespace orvane::vrt::matrix_market
