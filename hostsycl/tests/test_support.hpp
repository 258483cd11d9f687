// Helpers shared by the runtime tests.
#pragma once

#include <functional>
#include <sycl/sycl.hpp>

namespace test_support {

// The error code of the sycl::exception that `f` throws, or errc::success when it throws none.
inline sycl::errc code_of(const std::function<void()>& f) {
  try {
    f();
  } catch (const sycl::exception& e) {
    return static_cast<sycl::errc>(e.code().value());
  }
  return sycl::errc::success;
}

// An asynchronous handler that records the code of the last sycl::exception it receives.
inline sycl::async_handler record_code(sycl::errc& code) {
  return [&code](sycl::exception_list list) {
    for (auto& e : list) {
      try {
        std::rethrow_exception(e);
      } catch (const sycl::exception& x) {
        code = static_cast<sycl::errc>(x.code().value());
      }
    }
  };
}

}  // namespace test_support
