#include "huge_pages.hpp"

#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace vrt_host {

void advise_huge_pages([[maybe_unused]] void* p, [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  constexpr std::uintptr_t huge = std::uintptr_t{2} << 20;
  if (p == nullptr || bytes < 2 * huge) return;
  const auto start = (reinterpret_cast<std::uintptr_t>(p) + huge - 1) & ~(huge - 1);
  const auto end = (reinterpret_cast<std::uintptr_t>(p) + bytes) & ~(huge - 1);
  if (end > start) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
#endif
}

}  // namespace vrt_host
