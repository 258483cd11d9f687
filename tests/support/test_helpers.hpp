// Helpers shared by the library's tests: the variant list and exact-message checks.
#pragma once

#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "common/variants.hpp"

namespace vrt_test {

template <typename T, typename I>
struct variant {
  using value = T;
  using index = I;
};

// The value types with both index widths, from the library's one variant list (a developer build
// that leaves value types out tests only the others).
template <typename V>
using if_built = std::conditional_t<orvane::vrt::sparse::value_type_built<typename V::value>,
                                    std::tuple<V>, std::tuple<>>;
#define VRT_TEST_VARIANT(p, T, i, I, unused) std::declval<if_built<variant<T, I>>>(),
using built_variants =
    decltype(std::tuple_cat(VRT_FOR_EACH_VARIANT(VRT_TEST_VARIANT, 0) std::tuple<>()));
#undef VRT_TEST_VARIANT

// Skips a test that names a value type left out of this build (developer and sanitizer builds
// may narrow the value types).
#define VRT_SKIP_UNLESS_BUILT(T)                 \
  if (!orvane::vrt::sparse::value_type_built<T>) \
  GTEST_SKIP() << "value type left out of this " \
                  "build"

// The name of a value type in skip messages.
template <typename T>
const char* value_type_name() {
  if constexpr (std::is_same_v<T, float>)
    return "float";
  else if constexpr (std::is_same_v<T, double>)
    return "double";
  else if constexpr (std::is_same_v<T, std::complex<float>>)
    return "std::complex<float>";
  else
    return "std::complex<double>";
}

template <typename Tuple>
struct as_gtest_types;
template <typename... Vs>
struct as_gtest_types<std::tuple<Vs...>> {
  using type = ::testing::Types<Vs...>;
};
using all_variants = as_gtest_types<built_variants>::type;

// The start of every message the library throws for `routine` (none for the empty word).
inline std::string prefix(const std::string& routine) {
  return routine.empty() ? "orvane::vrt::sparse: " : "orvane::vrt::sparse::" + routine + ": ";
}

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
