// Reading Matrix Market text in the reader's tests: the matrix, or the refusal's message.
#pragma once

#include <sstream>
#include <string>

#include "matrix_market.hpp"

namespace matrix_market_text {

namespace mm = orvane::vrt::matrix_market;

// Text read as the file "t.mtx".
inline mm::coordinate_matrix parse(const std::string& text) {
  std::istringstream in(text);
  return mm::read(in, "t.mtx");
}

// The format_error's message, or "accepted".
inline std::string refusal(const std::string& text) {
  try {
    parse(text);
  } catch (const mm::format_error& e) {
    return e.what();
  }
  return "accepted";
}

}  // namespace matrix_market_text
