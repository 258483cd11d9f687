// Sorting one row in a work-item's private memory: keys and their values move together.
//
// quicksort_nonrecursive partitions with a median of three and Lomuto's scheme, keeps the pending
// parts on a private stack of 32 integers and falls back to Batcher's merge-exchange network when
// that stack is nearly full, which bounds both its depth and the time. Short ranges go to
// small_list_sort. No scratch memory and no recursion: it runs in any kernel.
#pragma once

#include <cstdint>
#include <type_traits>

namespace orvane::vrt::sparse::gpu::kernels {

// Values travel with their keys; NoValues stands in for a structure-only sort.
struct NoValues {};

template <typename K, typename V>
struct row_view {
  K* keys;
  V* values;  // ignored for NoValues

  void swap(std::int64_t a, std::int64_t b) const {
    const K k = keys[a];
    keys[a] = keys[b];
    keys[b] = k;
    if constexpr (!std::is_same_v<V, NoValues>) {
      const V v = values[a];
      values[a] = values[b];
      values[b] = v;
    }
  }

  // Orders positions a < b by key, written with selects rather than branches.
  void compare_exchange(std::int64_t a, std::int64_t b) const {
    const K ka = keys[a], kb = keys[b];
    const bool out_of_order = ka > kb;
    keys[a] = out_of_order ? kb : ka;
    keys[b] = out_of_order ? ka : kb;
    if constexpr (!std::is_same_v<V, NoValues>) {
      const V va = values[a], vb = values[b];
      values[a] = out_of_order ? vb : va;
      values[b] = out_of_order ? va : vb;
    }
  }
};

// Fixed networks for 2, 3 and 4 keys; insertion sort up to 16.
template <typename K, typename V>
void small_list_sort(std::int64_t n, const row_view<K, V>& row) {
  switch (n) {
    case 0:
    case 1:
      return;
    case 2:
      row.compare_exchange(0, 1);
      return;
    case 3:
      row.compare_exchange(0, 1);
      row.compare_exchange(1, 2);
      row.compare_exchange(0, 1);
      return;
    case 4:
      row.compare_exchange(0, 1);
      row.compare_exchange(2, 3);
      row.compare_exchange(0, 2);
      row.compare_exchange(1, 3);
      row.compare_exchange(1, 2);
      return;
    default:
      for (std::int64_t i = 1; i < n; ++i)
        for (std::int64_t j = i; j > 0 && row.keys[j - 1] > row.keys[j]; --j) row.swap(j - 1, j);
  }
}

// Batcher's merge exchange over n entries (Knuth's algorithm M): p starts at the highest power
// of two below n.
template <typename K, typename V>
void merge_exchange_sort(std::int64_t n, const row_view<K, V>& row) {
  std::int64_t top = 1;
  while (top * 2 < n) top *= 2;
  for (std::int64_t p = top; p > 0; p /= 2) {
    std::int64_t q = top, r = 0, d = p;
    while (d > 0) {
      for (std::int64_t i = 0; i < n - d; ++i)
        if ((i & p) == r) row.compare_exchange(i, i + d);
      d = q - p;
      q >>= 1;
      r = p;
    }
  }
}

template <typename V>
V* values_at(V* values, std::int64_t start) {
  if constexpr (std::is_same_v<V, NoValues>)
    return values;
  else
    return values + start;
}

// Ranges shorter than this go to small_list_sort.
inline constexpr std::int64_t small_sort_limit = 17;
// The private stack of pending (start, end) pairs, and the fill at which a part is sorted by the
// merge-exchange network instead of being pushed (one pair below full).
inline constexpr int quicksort_stack_size = 32;
inline constexpr int quicksort_stack_push_limit = quicksort_stack_size - 2;

template <typename K, typename V>
void quicksort_nonrecursive(std::int64_t n, K* keys, V* values) {
  const row_view<K, V> all{keys, values};
  if (n < 2) return;
  if (n < small_sort_limit) return small_list_sort(n, all);
  std::int64_t stack[quicksort_stack_size];
  int top = 0;
  stack[top++] = 0;
  stack[top++] = n;
  const auto at = [&](std::int64_t start) {
    return row_view<K, V>{keys + start, values_at(values, start)};
  };
  while (top > 0) {
    std::int64_t hi = stack[--top];
    std::int64_t lo = stack[--top];
    while (lo < hi) {
      if (hi - lo < small_sort_limit) {
        small_list_sort(hi - lo, at(lo));
        break;
      }
      // Median of three, left at hi - 1 as the pivot.
      const std::int64_t mid = (lo + hi - 1) / 2;
      all.compare_exchange(lo, mid);
      all.compare_exchange(lo, hi - 1);
      if (keys[hi - 1] > keys[mid]) all.swap(mid, hi - 1);
      const K pivot = keys[hi - 1];
      std::int64_t b = lo;
      for (std::int64_t i = lo; i < hi - 1; ++i)
        if (!(keys[i] > pivot)) all.swap(i, b++);
      all.swap(b, hi - 1);
      const std::int64_t left = b - lo, right = hi - b - 1;
      // The larger part is dealt with now; the loop goes on with the smaller one.
      std::int64_t big_lo = lo, big_hi = b, small_lo = b + 1, small_hi = hi;
      if (right > left) {
        big_lo = b + 1, big_hi = hi, small_lo = lo, small_hi = b;
      }
      const std::int64_t big = big_hi - big_lo;
      if (big > 0) {
        if (big < small_sort_limit) {
          small_list_sort(big, at(big_lo));
        } else if (top < quicksort_stack_push_limit) {
          stack[top++] = big_lo;
          stack[top++] = big_hi;
        } else {
          merge_exchange_sort(big, at(big_lo));
        }
      }
      lo = small_lo;
      hi = small_hi;
    }
  }
}

}  // namespace orvane::vrt::sparse::gpu::kernels
