// What the library needs beyond the SYCL 2020 core that every implementation offers, each with a
// portable implementation over standard SYCL: host tasks, fences, sub-buffers, aligned USM,
// sub-group shuffles of complex values, block loads, explicit SIMD. Kernels and host code use
// only these names for it, so a port to another compiler changes this file alone.
#pragma once

#include <algorithm>
#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <sycl/sycl.hpp>
#include <type_traits>
#include <utility>

#ifdef HOSTSYCL
#include <hostsycl/hostsycl.hpp>
#endif

namespace orvane::vrt::portable {

// ---- host tasks --------------------------------------------------------------------------
// Host code that runs in queue order behind its command group's dependencies. A port whose
// runtime has no host tasks maps this to its own enqueued host callback.
template <typename F>
void host_task(sycl::handler& h, F&& f) {
  h.host_task(std::forward<F>(f));
}

// ---- fences ------------------------------------------------------------------------------
// Orders this work-item's memory operations at `scope`, as the standard free function does. A
// port lacking it maps each scope to its own barrier-free fence here.
inline void atomic_fence(sycl::memory_order order, sycl::memory_scope scope) {
  sycl::atomic_fence(order, scope);
}

// ---- sub-buffers -------------------------------------------------------------------------
// `count` elements of `whole` from element `first`, sharing its storage. A port without
// sub-buffers has to pass the offset along with the whole buffer instead.
template <typename T>
sycl::buffer<T, 1> sub_buffer(sycl::buffer<T, 1>& whole, std::size_t first, std::size_t count) {
  return sycl::buffer<T, 1>(whole, sycl::id<1>(first), sycl::range<1>(count));
}

// ---- aligned USM allocation --------------------------------------------------------------
// Some runtimes pass an aligned request on to C's aligned_alloc, which fails unless the size is
// a multiple of the alignment: every request is rounded up to one here. A size too large to
// round becomes the largest multiple, still too large, so the allocation fails as it would have.
inline std::size_t aligned_size(std::size_t bytes, std::size_t alignment) noexcept {
  if (alignment <= 1) return bytes;
  constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
  if (bytes > most - (alignment - 1)) return most - most % alignment;
  return (bytes + alignment - 1) / alignment * alignment;
}

inline void* aligned_alloc(std::size_t alignment, std::size_t bytes, const sycl::device& device,
                           const sycl::context& context, sycl::usm::alloc kind) {
  return sycl::aligned_alloc(alignment, aligned_size(bytes, alignment), device, context, kind);
}

inline void* aligned_alloc_host(std::size_t alignment, std::size_t bytes,
                                const sycl::context& context) {
  return sycl::aligned_alloc_host(alignment, aligned_size(bytes, alignment), context);
}

// Typed forms over `count` elements, at least at the alignment of T. A count whose size does not
// fit asks for the most, which fails.
namespace detail {
template <typename T>
std::size_t bytes_of(std::size_t count) noexcept {
  constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
  return count > most / sizeof(T) ? most : count * sizeof(T);
}
}  // namespace detail

template <typename T>
T* aligned_alloc_device(std::size_t alignment, std::size_t count, const sycl::queue& queue) {
  const std::size_t a = std::max(alignment, alignof(T));
  return static_cast<T*>(sycl::aligned_alloc_device(a, aligned_size(detail::bytes_of<T>(count), a),
                                                    queue.get_device(), queue.get_context()));
}

template <typename T>
T* aligned_alloc_host(std::size_t alignment, std::size_t count, const sycl::queue& queue) {
  const std::size_t a = std::max(alignment, alignof(T));
  return static_cast<T*>(sycl::aligned_alloc_host(a, aligned_size(detail::bytes_of<T>(count), a),
                                                  queue.get_context()));
}

// ---- group broadcast and sub-group shuffles ----------------------------------------------
// Implementations move a value between work-items as one scalar word, and some refuse a
// std::complex (it is neither a scalar nor always within a word). The complex forms move the
// real and imaginary parts as two values of the value type; every other type goes as it is.
namespace detail {
template <typename T>
struct is_complex : std::false_type {};
template <typename T>
struct is_complex<std::complex<T>> : std::true_type {};

// Applies `move` to x, or to each part of a complex x.
template <typename T, typename Move>
T by_parts(const T& x, Move move) {
  if constexpr (is_complex<T>::value)
    return T(move(x.real()), move(x.imag()));
  else
    return move(x);
}
}  // namespace detail

// x of the member `from` of g, in every member.
template <typename Group, typename T>
T group_broadcast(const Group& g, const T& x, typename Group::linear_id_type from) {
  return detail::by_parts(x, [&](auto part) { return sycl::group_broadcast(g, part, from); });
}

// x of the member `from` of the sub-group, in the member that asks.
template <typename T>
T select_from_group(const sycl::sub_group& sg, const T& x, sycl::sub_group::id_type from) {
  return detail::by_parts(x, [&](auto part) { return sycl::select_from_group(sg, part, from); });
}

// x of the member `delta` places above (left) or below (right); undefined past the ends.
template <typename T>
T shift_group_left(const sycl::sub_group& sg, const T& x,
                   sycl::sub_group::linear_id_type delta = 1) {
  return detail::by_parts(x, [&](auto part) { return sycl::shift_group_left(sg, part, delta); });
}
template <typename T>
T shift_group_right(const sycl::sub_group& sg, const T& x,
                    sycl::sub_group::linear_id_type delta = 1) {
  return detail::by_parts(x, [&](auto part) { return sycl::shift_group_right(sg, part, delta); });
}

// x of the member whose id is this member's xor `mask`.
template <typename T>
T permute_group_by_xor(const sycl::sub_group& sg, const T& x,
                       sycl::sub_group::linear_id_type mask) {
  return detail::by_parts(x, [&](auto part) { return sycl::permute_group_by_xor(sg, part, mask); });
}

// ---- required sub-group size -------------------------------------------------------------
// A kernel that demands a sub-group size is named with sub_group_kernel<Tag, N> and carries
// the standard attribute as well:
//
//   h.parallel_for<portable::sub_group_kernel<my_kernel, 16>>(
//       ndr, [=](sycl::nd_item<1> it) [[sycl::reqd_sub_group_size(16)]] { ... });
//
// A conformant compiler honours the attribute (and ignores the member). The bundled host runtime
// cannot see attributes, so it reads `required_sub_group_size` from the kernel-name type and runs
// the kernel with exactly that size, or refuses it with errc::kernel_not_supported.
template <typename Tag, std::size_t SubGroupSize>
struct sub_group_kernel {
  static constexpr std::size_t required_sub_group_size = SubGroupSize;
};

// ---- sub-group block loads and stores ----------------------------------------------------
// Work-item l of a sub-group of size S receives base[l + k * S] for k < N: the layout of a
// hardware block read. Plain strided loads are what such a read compiles to where no block
// instruction exists; a compiler with one may map these functions to it.

namespace detail {
// A block reaches `count` elements from base. A device reads past a USM allocation silently; the
// bundled runtime's strict mode stops with a message instead. Elsewhere this is nothing.
template <typename T>
void check_block(const T* base, std::size_t count, const char* operation) {
#ifdef HOSTSYCL
  hostsycl::check_usm_range(base, count * sizeof(T), operation);
#else
  (void)base;
  (void)count;
  (void)operation;
#endif
}
}  // namespace detail

template <int N, typename T>
std::array<T, N> sub_group_load(const sycl::sub_group& sg, const T* base) {
  const std::size_t lane = sg.get_local_linear_id();
  const std::size_t size = sg.get_max_local_range()[0];
  detail::check_block(base, N * size, "sub_group_load");
  std::array<T, N> out;
  for (int k = 0; k < N; ++k) out[k] = base[lane + static_cast<std::size_t>(k) * size];
  return out;
}

// Masked form for tails: only indices below `count` are read; the others receive `fill`.
template <int N, typename T>
std::array<T, N> sub_group_load(const sycl::sub_group& sg, const T* base, std::size_t count,
                                T fill) {
  const std::size_t lane = sg.get_local_linear_id();
  const std::size_t size = sg.get_max_local_range()[0];
  detail::check_block(base, std::min<std::size_t>(count, N * size), "sub_group_load");
  std::array<T, N> out;
  for (int k = 0; k < N; ++k) {
    const std::size_t i = lane + static_cast<std::size_t>(k) * size;
    out[k] = i < count ? base[i] : fill;
  }
  return out;
}

template <int N, typename T>
void sub_group_store(const sycl::sub_group& sg, T* base, const std::array<T, N>& values) {
  const std::size_t lane = sg.get_local_linear_id();
  const std::size_t size = sg.get_max_local_range()[0];
  detail::check_block(base, N * size, "sub_group_store");
  for (int k = 0; k < N; ++k) base[lane + static_cast<std::size_t>(k) * size] = values[k];
}

// Masked store: indices at or past `count` are left untouched.
template <int N, typename T>
void sub_group_store(const sycl::sub_group& sg, T* base, const std::array<T, N>& values,
                     std::size_t count) {
  const std::size_t lane = sg.get_local_linear_id();
  const std::size_t size = sg.get_max_local_range()[0];
  detail::check_block(base, std::min<std::size_t>(count, N * size), "sub_group_store");
  for (int k = 0; k < N; ++k) {
    const std::size_t i = lane + static_cast<std::size_t>(k) * size;
    if (i < count) base[i] = values[k];
  }
}

// ---- prefetch ----------------------------------------------------------------------------
// A hint to bring data closer to the work-item. Standard SYCL offers it on multi_ptr; where a
// device has no prefetch it does nothing, which is always correct.
template <typename T>
void prefetch(const T* p, std::size_t count) {
  sycl::global_ptr<const T>(p).prefetch(count);
}

// ---- spin pause --------------------------------------------------------------------------
// One turn of a spin-wait on a value another work-item will write. Standard SYCL has no pause
// instruction; a device compiler that has one may map this to it. Doing nothing is always
// correct: the wait's atomic load is what lets the awaited work-item run.
inline void pause() noexcept {}

// ---- explicit SIMD -----------------------------------------------------------------------
// A work-item that works on whole vectors, as explicit-SIMD kernels do. Plain loops over a
// fixed-size array: g++ vectorises them, and a compiler with an explicit-SIMD extension may
// map the type to its native vector.
template <int N>
struct simd_mask {
  std::array<bool, N> lanes{};

  bool operator[](int i) const { return lanes[i]; }
  bool& operator[](int i) { return lanes[i]; }
  bool any() const {
    for (int i = 0; i < N; ++i)
      if (lanes[i]) return true;
    return false;
  }
  bool all() const {
    for (int i = 0; i < N; ++i)
      if (!lanes[i]) return false;
    return true;
  }
};

template <typename T, int N>
struct simd {
  static_assert(N >= 1 && N <= 64, "simd supports 1 to 64 lanes");
  std::array<T, N> lanes{};

  simd() = default;
  explicit simd(T value) { lanes.fill(value); }

  // The lane index vector 0, 1, ..., N-1 scaled by `step` and offset by `start`.
  static simd iota(T start = T(0), T step = T(1)) {
    simd r;
    for (int i = 0; i < N; ++i) r.lanes[i] = start + static_cast<T>(i) * step;
    return r;
  }

  T operator[](int i) const { return lanes[i]; }
  T& operator[](int i) { return lanes[i]; }

  void block_load(const T* p) {
    for (int i = 0; i < N; ++i) lanes[i] = p[i];
  }
  void block_store(T* p) const {
    for (int i = 0; i < N; ++i) p[i] = lanes[i];
  }

  // Reads base[offsets[i]] in the lanes whose mask is set; the others keep their value.
  template <typename Index>
  void gather(const T* base, const simd<Index, N>& offsets, const simd_mask<N>& mask) {
    for (int i = 0; i < N; ++i)
      if (mask[i]) lanes[i] = base[offsets[i]];
  }
  template <typename Index>
  void scatter(T* base, const simd<Index, N>& offsets, const simd_mask<N>& mask) const {
    for (int i = 0; i < N; ++i)
      if (mask[i]) base[offsets[i]] = lanes[i];
  }

  friend simd operator+(const simd& a, const simd& b) {
    return zip(a, b, [](T x, T y) { return x + y; });
  }
  friend simd operator-(const simd& a, const simd& b) {
    return zip(a, b, [](T x, T y) { return x - y; });
  }
  friend simd operator*(const simd& a, const simd& b) {
    return zip(a, b, [](T x, T y) { return x * y; });
  }
  simd& operator+=(const simd& b) { return *this = *this + b; }

  friend simd_mask<N> operator<(const simd& a, const simd& b) {
    return compare(a, b, [](T x, T y) { return x < y; });
  }
  friend simd_mask<N> operator<=(const simd& a, const simd& b) {
    return compare(a, b, [](T x, T y) { return x <= y; });
  }
  friend simd_mask<N> operator==(const simd& a, const simd& b) {
    return compare(a, b, [](T x, T y) { return x == y; });
  }

 private:
  template <typename F>
  static simd zip(const simd& a, const simd& b, F f) {
    simd r;
    for (int i = 0; i < N; ++i) r.lanes[i] = f(a.lanes[i], b.lanes[i]);
    return r;
  }
  template <typename F>
  static simd_mask<N> compare(const simd& a, const simd& b, F f) {
    simd_mask<N> m;
    for (int i = 0; i < N; ++i) m.lanes[i] = f(a.lanes[i], b.lanes[i]);
    return m;
  }
};

// a * b + c in every lane, rounded once where T is floating point.
template <typename T, int N>
simd<T, N> fma(const simd<T, N>& a, const simd<T, N>& b, const simd<T, N>& c) {
  simd<T, N> r;
  for (int i = 0; i < N; ++i) {
    if constexpr (std::is_floating_point_v<T>)
      r.lanes[i] = sycl::fma(a.lanes[i], b.lanes[i], c.lanes[i]);
    else
      r.lanes[i] = a.lanes[i] * b.lanes[i] + c.lanes[i];
  }
  return r;
}

// Lanes of `on_true` where the mask is set, of `on_false` elsewhere.
template <typename T, int N>
simd<T, N> merge(const simd<T, N>& on_true, const simd<T, N>& on_false, const simd_mask<N>& mask) {
  simd<T, N> r;
  for (int i = 0; i < N; ++i) r.lanes[i] = mask[i] ? on_true.lanes[i] : on_false.lanes[i];
  return r;
}

// Lane reductions in ascending lane order, so results are reproducible.
template <typename T, int N>
T reduce_add(const simd<T, N>& v) {
  T acc = v.lanes[0];
  for (int i = 1; i < N; ++i) acc += v.lanes[i];
  return acc;
}
template <typename T, int N>
T reduce_max(const simd<T, N>& v) {
  T acc = v.lanes[0];
  for (int i = 1; i < N; ++i) acc = v.lanes[i] > acc ? v.lanes[i] : acc;
  return acc;
}
template <typename T, int N>
T reduce_min(const simd<T, N>& v) {
  T acc = v.lanes[0];
  for (int i = 1; i < N; ++i) acc = v.lanes[i] < acc ? v.lanes[i] : acc;
  return acc;
}

// ---- explicit SIMD: bits ------------------------------------------------------------------
// Lane-wise bit operations of integer vectors and the masks they give, for kernels that work
// on bitmaps and hash tables a vector at a time.
template <typename T, int N>
simd<T, N> operator&(const simd<T, N>& a, const simd<T, N>& b) {
  static_assert(std::is_integral_v<T>, "bit operations need integer lanes");
  simd<T, N> r;
  for (int i = 0; i < N; ++i) r.lanes[i] = a.lanes[i] & b.lanes[i];
  return r;
}
template <typename T, int N>
simd<T, N> operator|(const simd<T, N>& a, const simd<T, N>& b) {
  static_assert(std::is_integral_v<T>, "bit operations need integer lanes");
  simd<T, N> r;
  for (int i = 0; i < N; ++i) r.lanes[i] = a.lanes[i] | b.lanes[i];
  return r;
}
template <typename T, int N>
simd<T, N> operator>>(const simd<T, N>& a, int shift) {
  static_assert(std::is_integral_v<T>, "bit operations need integer lanes");
  simd<T, N> r;
  for (int i = 0; i < N; ++i) r.lanes[i] = static_cast<T>(a.lanes[i] >> shift);
  return r;
}
template <typename T, int N>
simd<T, N> operator<<(const simd<T, N>& a, const simd<T, N>& shift) {
  static_assert(std::is_integral_v<T>, "bit operations need integer lanes");
  simd<T, N> r;
  for (int i = 0; i < N; ++i) r.lanes[i] = static_cast<T>(a.lanes[i] << shift.lanes[i]);
  return r;
}

// The number of set bits of every lane.
template <typename T, int N>
simd<T, N> popcount(const simd<T, N>& v) {
  static_assert(std::is_integral_v<T>, "popcount needs integer lanes");
  simd<T, N> r;
  for (int i = 0; i < N; ++i) r.lanes[i] = sycl::popcount(v.lanes[i]);
  return r;
}

template <int N>
simd_mask<N> operator|(const simd_mask<N>& a, const simd_mask<N>& b) {
  simd_mask<N> r;
  for (int i = 0; i < N; ++i) r.lanes[i] = a.lanes[i] || b.lanes[i];
  return r;
}
template <int N>
simd_mask<N> operator&(const simd_mask<N>& a, const simd_mask<N>& b) {
  simd_mask<N> r;
  for (int i = 0; i < N; ++i) r.lanes[i] = a.lanes[i] && b.lanes[i];
  return r;
}

// The lowest lane whose mask is set, or -1 when none is.
template <int N>
int first_set(const simd_mask<N>& m) {
  for (int i = 0; i < N; ++i)
    if (m.lanes[i]) return i;
  return -1;
}

}  // namespace orvane::vrt::portable
