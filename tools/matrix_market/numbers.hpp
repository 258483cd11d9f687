// Whole-token numbers as Matrix Market files and the driver's options write them: decimal
// integers and decimal reals (nan and inf included), nothing read in part.
#pragma once

#include <cstdint>
#include <string_view>

namespace orvane::vrt::matrix_market {

enum class number_status { ok, malformed, out_of_range };

// An optional sign and decimal digits, fitting 64 bits.
number_status parse_integer(std::string_view token, std::int64_t& value);

// An optional sign, then nan, inf or infinity (any case), or decimal digits with an optional
// point and exponent. Exponents beyond double's range give infinity or zero, as other readers
// of the format give them. Returns false for anything else, hexadecimal included.
bool parse_real(std::string_view token, double& value);

}  // namespace orvane::vrt::matrix_market
