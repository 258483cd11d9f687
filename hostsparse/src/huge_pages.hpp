// Large scratch and result arrays on transparent huge pages where the system grants them on
// request. On virtual machines a page fault on fresh memory can cost more than a pass of work
// over that page, and a product or a transpose writes tens of megabytes of fresh memory.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace vrt_host {

// Asks for huge pages on the whole 2 MB pages inside [p, p + bytes); small or unaligned
// remainders keep ordinary pages. Only advice: nothing changes when it is refused.
void advise_huge_pages(void* p, std::size_t bytes) noexcept;

// v with capacity for n elements, advised before the first touch. Memory that v already holds
// has been touched and stays as it is.
template <typename V>
void reserve_on_huge_pages(V& v, std::size_t n) {
  if (v.capacity() >= n) return;
  V fresh;
  fresh.reserve(n);
  advise_huge_pages(fresh.data(), n * sizeof(typename V::value_type));
  fresh.assign(v.begin(), v.end());
  v.swap(fresh);
}

// n elements left uninitialised (the caller writes each before reading it), advised.
template <typename T>
std::unique_ptr<T[]> uninitialised_array(std::size_t n) {
  std::unique_ptr<T[]> a(new T[n]);
  advise_huge_pages(a.get(), n * sizeof(T));
  return a;
}

}  // namespace vrt_host
