// Barriers and group algorithms over work-groups and sub-groups.
//
// Each call is one collective: the members hand in their values, the last to arrive combines
// them in ascending local id order (so results are reproducible bit for bit), and every member
// takes its own result.
#pragma once

#include <cstring>
#include <iterator>
#include <sycl/detail/atomic.hpp>
#include <sycl/detail/functional.hpp>
#include <sycl/detail/group.hpp>
#include <type_traits>

namespace sycl {

namespace detail {

template <typename Group>
constexpr bool is_sub_group_v = std::is_same_v<std::decay_t<Group>, sub_group>;

template <typename T>
T slot_value(const unsigned char* base, std::size_t i, std::size_t stride) {
  T v;
  std::memcpy(static_cast<void*>(&v), base + i * stride, sizeof(T));
  return v;
}
template <typename T>
void set_slot(unsigned char* base, std::size_t i, std::size_t stride, const T& v) {
  std::memcpy(base + i * stride, static_cast<const void*>(&v), sizeof(T));
}

template <typename Group, typename In, typename Out>
Out collective(Group g, const In& in,
               void (*combine)(const void*, const unsigned char*, unsigned char*, std::size_t,
                               std::size_t),
               const void* context) {
  static_assert(sizeof(In) <= collective_slot_bytes && sizeof(Out) <= collective_slot_bytes,
                "value too large for a group function");
  static_assert(std::is_trivially_copyable_v<In> && std::is_trivially_copyable_v<Out>,
                "group functions need trivially copyable values");
  Out out;
  collective_call call{&in, sizeof(In), &out, sizeof(Out), combine, context};
  run_collective(group_access::state(g), is_sub_group_v<Group>, call);
  return out;
}

template <typename T, typename Op>
struct reduce_combiner {
  static void run(const void* ctx, const unsigned char* in, unsigned char* out, std::size_t n,
                  std::size_t stride) {
    const Op& op = *static_cast<const Op*>(ctx);
    T acc = slot_value<T>(in, 0, stride);
    for (std::size_t i = 1; i < n; ++i) acc = op(acc, slot_value<T>(in, i, stride));
    for (std::size_t i = 0; i < n; ++i) set_slot(out, i, stride, acc);
  }
};

template <typename T, typename Op, bool Inclusive>
struct scan_combiner {
  static void run(const void* ctx, const unsigned char* in, unsigned char* out, std::size_t n,
                  std::size_t stride) {
    const Op& op = *static_cast<const Op*>(ctx);
    T acc = known_identity_v<Op, T>;
    for (std::size_t i = 0; i < n; ++i) {
      const T v = slot_value<T>(in, i, stride);
      if (Inclusive) {
        acc = (i == 0) ? v : op(acc, v);
        set_slot(out, i, stride, acc);
      } else {
        set_slot(out, i, stride, acc);
        acc = (i == 0) ? v : op(acc, v);
      }
    }
  }
};

// A value together with the index of the member whose value is wanted.
template <typename T>
struct value_with_source {
  T value;
  std::size_t source;
};

// Each member receives the value of the member it names; out-of-range names receive their own
// value (the standard leaves those results unspecified).
template <typename T>
struct gather_combiner {
  static void run(const void*, const unsigned char* in, unsigned char* out, std::size_t n,
                  std::size_t stride) {
    for (std::size_t i = 0; i < n; ++i) {
      const auto me = slot_value<value_with_source<T>>(in, i, stride);
      const std::size_t src = me.source < n ? me.source : i;
      set_slot(out, i, stride, slot_value<value_with_source<T>>(in, src, stride).value);
    }
  }
};

inline void no_combine(const void*, const unsigned char*, unsigned char*, std::size_t,
                       std::size_t) {}

template <typename Group, typename T>
T gather_from(Group g, T x, std::size_t source) {
  return collective<Group, value_with_source<T>, T>(g, value_with_source<T>{x, source},
                                                    &gather_combiner<T>::run, nullptr);
}

}  // namespace detail

template <typename Group>
requires is_group_v<std::decay_t<Group>>
void group_barrier(Group g, memory_scope = Group::fence_scope) {
  char unused = 0;
  (void)detail::collective<Group, char, char>(g, unused, &detail::no_combine, nullptr);
}

namespace detail {
// A scan over memory, made once for the group in ascending order (reproducible bit for bit).
// `has_init` false: an inclusive scan starts from the first element, an exclusive one from
// `init`, which is then the identity.
template <bool Inclusive, typename Group, typename InPtr, typename OutPtr, typename T,
          typename BinaryOperation>
OutPtr joint_scan(Group g, InPtr first, InPtr last, OutPtr result, T init, bool has_init,
                  BinaryOperation op) {
  const auto n = last - first;
  run_once_in_group(group_access::state(g), is_sub_group_v<Group>, [=] {
    T acc = init;
    bool started = has_init;
    OutPtr out = result;
    for (InPtr in = first; in != last; ++in, ++out) {
      const T x = static_cast<T>(*in);
      if constexpr (Inclusive) {
        acc = started ? static_cast<T>(op(acc, x)) : x;
        started = true;
        *out = acc;
      } else {
        *out = acc;
        acc = static_cast<T>(op(acc, x));
      }
    }
  });
  return result + n;
}
}  // namespace detail

template <typename Group, typename InPtr, typename OutPtr, typename BinaryOperation>
requires is_group_v<std::decay_t<Group>> OutPtr joint_inclusive_scan(Group g, InPtr first,
                                                                     InPtr last, OutPtr result,
                                                                     BinaryOperation op) {
  using T = typename std::iterator_traits<OutPtr>::value_type;
  return detail::joint_scan<true>(g, first, last, result, T{}, false, op);
}
template <typename Group, typename InPtr, typename OutPtr, typename T, typename BinaryOperation>
requires is_group_v<std::decay_t<Group>> OutPtr joint_inclusive_scan(Group g, InPtr first,
                                                                     InPtr last, OutPtr result,
                                                                     BinaryOperation op, T init) {
  return detail::joint_scan<true>(g, first, last, result, init, true, op);
}
template <typename Group, typename InPtr, typename OutPtr, typename BinaryOperation>
requires is_group_v<std::decay_t<Group>> OutPtr joint_exclusive_scan(Group g, InPtr first,
                                                                     InPtr last, OutPtr result,
                                                                     BinaryOperation op) {
  using T = typename std::iterator_traits<OutPtr>::value_type;
  return detail::joint_scan<false>(g, first, last, result, known_identity_v<BinaryOperation, T>,
                                   true, op);
}
template <typename Group, typename InPtr, typename OutPtr, typename T, typename BinaryOperation>
requires is_group_v<std::decay_t<Group>> OutPtr joint_exclusive_scan(Group g, InPtr first,
                                                                     InPtr last, OutPtr result,
                                                                     T init, BinaryOperation op) {
  return detail::joint_scan<false>(g, first, last, result, init, true, op);
}

template <typename Group, typename T, typename BinaryOperation>
requires is_group_v<std::decay_t<Group>> T reduce_over_group(Group g, T x, BinaryOperation op) {
  return detail::collective<Group, T, T>(g, x, &detail::reduce_combiner<T, BinaryOperation>::run,
                                         &op);
}
template <typename Group, typename V, typename T, typename BinaryOperation>
requires is_group_v<std::decay_t<Group>> T reduce_over_group(Group g, V x, T init,
                                                             BinaryOperation op) {
  return op(init, reduce_over_group(g, static_cast<T>(x), op));
}

template <typename Group, typename T, typename BinaryOperation>
requires is_group_v<std::decay_t<Group>> T inclusive_scan_over_group(Group g, T x,
                                                                     BinaryOperation op) {
  return detail::collective<Group, T, T>(
      g, x, &detail::scan_combiner<T, BinaryOperation, true>::run, &op);
}
template <typename Group, typename V, typename BinaryOperation, typename T>
requires is_group_v<std::decay_t<Group>> T inclusive_scan_over_group(Group g, V x,
                                                                     BinaryOperation op, T init) {
  return op(init, inclusive_scan_over_group(g, static_cast<T>(x), op));
}
template <typename Group, typename T, typename BinaryOperation>
requires is_group_v<std::decay_t<Group>> T exclusive_scan_over_group(Group g, T x,
                                                                     BinaryOperation op) {
  return detail::collective<Group, T, T>(
      g, x, &detail::scan_combiner<T, BinaryOperation, false>::run, &op);
}
template <typename Group, typename V, typename T, typename BinaryOperation>
requires is_group_v<std::decay_t<Group>> T exclusive_scan_over_group(Group g, V x, T init,
                                                                     BinaryOperation op) {
  // The first member receives init; every other member init combined with its exclusive prefix.
  const T prefix = exclusive_scan_over_group(g, static_cast<T>(x), op);
  return g.get_local_linear_id() == 0 ? init : op(init, prefix);
}

template <typename Group, typename T>
requires is_group_v<std::decay_t<Group>> T
group_broadcast(Group g, T x, typename Group::linear_id_type local_linear_id) {
  return detail::gather_from(g, x, static_cast<std::size_t>(local_linear_id));
}
template <typename Group, typename T>
requires is_group_v<std::decay_t<Group>> T group_broadcast(Group g, T x) {
  return group_broadcast(g, x, typename Group::linear_id_type{0});
}
template <typename Group, typename T>
requires is_group_v<std::decay_t<Group>> T group_broadcast(Group g, T x,
                                                           typename Group::id_type local_id) {
  return detail::gather_from(g, x, detail::linearize(local_id, g.get_local_range()));
}

template <typename Group, typename T>
requires detail::is_sub_group_v<Group> T
shift_group_left(Group g, T x, typename Group::linear_id_type delta = 1) {
  return detail::gather_from(g, x, std::size_t{g.get_local_linear_id()} + delta);
}
template <typename Group, typename T>
requires detail::is_sub_group_v<Group> T
shift_group_right(Group g, T x, typename Group::linear_id_type delta = 1) {
  const std::size_t me = g.get_local_linear_id();
  return detail::gather_from(g, x, me >= delta ? me - delta : ~std::size_t{0});
}
template <typename Group, typename T>
requires detail::is_sub_group_v<Group> T permute_group_by_xor(Group g, T x,
                                                              typename Group::linear_id_type mask) {
  return detail::gather_from(g, x, std::size_t{g.get_local_linear_id() ^ mask});
}
template <typename Group, typename T>
requires detail::is_sub_group_v<Group> T
select_from_group(Group g, T x, typename Group::id_type remote_local_id) {
  return detail::gather_from(g, x, std::size_t{remote_local_id[0]});
}

template <typename Group>
requires is_group_v<std::decay_t<Group>>
bool any_of_group(Group g, bool pred) {
  return reduce_over_group(g, pred ? 1 : 0, maximum<int>()) != 0;
}
template <typename Group>
requires is_group_v<std::decay_t<Group>>
bool all_of_group(Group g, bool pred) {
  return reduce_over_group(g, pred ? 1 : 0, minimum<int>()) != 0;
}
template <typename Group>
requires is_group_v<std::decay_t<Group>>
bool none_of_group(Group g, bool pred) { return !any_of_group(g, pred); }
template <typename Group, typename T, typename Predicate>
requires is_group_v<std::decay_t<Group>>
bool any_of_group(Group g, T x, Predicate pred) {
  return any_of_group(g, static_cast<bool>(pred(x)));
}
template <typename Group, typename T, typename Predicate>
requires is_group_v<std::decay_t<Group>>
bool all_of_group(Group g, T x, Predicate pred) {
  return all_of_group(g, static_cast<bool>(pred(x)));
}
template <typename Group, typename T, typename Predicate>
requires is_group_v<std::decay_t<Group>>
bool none_of_group(Group g, T x, Predicate pred) {
  return none_of_group(g, static_cast<bool>(pred(x)));
}

// Joint algorithms: every member walks a strided share of [first, last), then the group combines.
template <typename Group, typename Ptr, typename T, typename BinaryOperation>
requires is_group_v<std::decay_t<Group>> T joint_reduce(Group g, Ptr first, Ptr last, T init,
                                                        BinaryOperation op) {
  const std::size_t n = static_cast<std::size_t>(last - first);
  const std::size_t me = g.get_local_linear_id();
  const std::size_t count = g.get_local_linear_range();
  T partial = known_identity_v<BinaryOperation, T>;
  for (std::size_t i = me; i < n; i += count) partial = op(partial, static_cast<T>(first[i]));
  return op(init, reduce_over_group(g, partial, op));
}
template <typename Group, typename Ptr, typename BinaryOperation>
requires is_group_v<std::decay_t<Group>>
typename std::iterator_traits<Ptr>::value_type joint_reduce(Group g, Ptr first, Ptr last,
                                                            BinaryOperation op) {
  using T = typename std::iterator_traits<Ptr>::value_type;
  return joint_reduce(g, first, last, known_identity_v<BinaryOperation, T>, op);
}
template <typename Group, typename Ptr, typename Predicate>
requires is_group_v<std::decay_t<Group>>
bool joint_any_of(Group g, Ptr first, Ptr last, Predicate pred) {
  const std::size_t n = static_cast<std::size_t>(last - first);
  bool any = false;
  for (std::size_t i = g.get_local_linear_id(); i < n; i += g.get_local_linear_range())
    any = any || static_cast<bool>(pred(first[i]));
  return any_of_group(g, any);
}
template <typename Group, typename Ptr, typename Predicate>
requires is_group_v<std::decay_t<Group>>
bool joint_all_of(Group g, Ptr first, Ptr last, Predicate pred) {
  const std::size_t n = static_cast<std::size_t>(last - first);
  bool all = true;
  for (std::size_t i = g.get_local_linear_id(); i < n; i += g.get_local_linear_range())
    all = all && static_cast<bool>(pred(first[i]));
  return all_of_group(g, all);
}
template <typename Group, typename Ptr, typename Predicate>
requires is_group_v<std::decay_t<Group>>
bool joint_none_of(Group g, Ptr first, Ptr last, Predicate pred) {
  return !joint_any_of(g, first, last, pred);
}

}  // namespace sycl
