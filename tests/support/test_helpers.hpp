// Helpers shared by the library's tests: the variant list and exact-message checks.
#pragma once

#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <exception>
#include <functional>
#include <string>

namespace vrt_test {

template <typename T, typename I>
struct variant {
  using value = T;
  using index = I;
};

// The four value types with both index widths.
using all_variants =
    ::testing::Types<variant<float, std::int32_t>, variant<float, std::int64_t>,
                     variant<double, std::int32_t>, variant<double, std::int64_t>,
                     variant<std::complex<float>, std::int32_t>,
                     variant<std::complex<float>, std::int64_t>,
                     variant<std::complex<double>, std::int32_t>,
                     variant<std::complex<double>, std::int64_t>>;

// The call must throw exactly E with exactly this message.
template <typename E>
void expect_message(const std::function<void()>& call, const std::string& message) {
  try {
    call();
    ADD_FAILURE() << "expected: " << message;
  } catch (const E& e) {
    EXPECT_EQ(std::string(e.what()), message);
  } catch (const std::exception& e) {
    ADD_FAILURE() << "wrong exception: " << e.what() << "\nexpected: " << message;
  }
}

}  // namespace vrt_test
