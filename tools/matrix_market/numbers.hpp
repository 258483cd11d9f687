// Whole-token numbers as Matrix Market files and the driver's options write them: decimal
// integers, and reals as strtod reads them, nothing read in part.
#pragma once

#include <cstdint>
#include <string_view>

namespace orvane::vrt::matrix_market {

enum class number_status { ok, malformed, out_of_range };

// An optional sign and decimal digits, fitting 64 bits.
number_status parse_integer(std::string_view token, std::int64_t& value);

// Every real number strtod reads in full: decimal with an optional point and exponent,
// hexadecimal (0x1p3), nan, nan(...), inf and infinity in any case, each with an optional sign.
// Exponents beyond double's range give infinity or zero, as other readers of the format give
// them. Returns false for a token strtod reads only in part, or not at all.
bool parse_real(std::string_view token, double& value);

}  // namespace orvane::vrt::matrix_market
