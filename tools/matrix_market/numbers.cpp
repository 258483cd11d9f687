// Whole-token numbers.
#include "numbers.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <string>

namespace orvane::vrt::matrix_market {

namespace {

bool digit(char c) { return c >= '0' && c <= '9'; }

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
  // strtod would skip leading white space; a token has none, and an empty one is no number.
  if (token.empty() || std::isspace(static_cast<unsigned char>(token[0]))) return false;
  // strtod needs a terminated string (a zero byte inside the token ends the read early, so the
  // token is refused). Out-of-range exponents set errno and give infinity or zero, which is the
  // value wanted; the tools never change the C locale, so the point is '.'.
  const std::string text(token);
  char* end = nullptr;
  const double v = std::strtod(text.c_str(), &end);
  if (end != text.c_str() + text.size()) return false;
  value = v;
  return true;
}

}  // namespace orvane::vrt::matrix_market
