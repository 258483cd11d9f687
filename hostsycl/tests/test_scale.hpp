// Problem sizes of the heavier runtime tests: the race detector tracks every work-item fiber,
// so its builds run the same tests on smaller problems.
#pragma once

#include <cstddef>

namespace test_scale {
#if defined(__SANITIZE_THREAD__)
inline constexpr std::size_t divisor = 16;
#else
inline constexpr std::size_t divisor = 1;
#endif
}  // namespace test_scale
