// Triangular solve plans, made by optimize after a solve hint: the strict triangle of each row
// copied out in solve order, so a solve streams through it without testing columns. Solves are
// serial. Level sets with a barrier a level lost to the serial sweep on two threads, and by
// far on a busy machine (a power-law triangle: 174 ms against 27); so did threads solving
// neighbouring chunks of rows and waiting on flags of the rows they need, because a thread
// descheduled inside its chunk stalls every later chunk that reads one of its rows.
#include <algorithm>

#include "matrix.hpp"

namespace vrt_host {

namespace {

template <typename T, typename I>
std::unique_ptr<solve_plan<I>> make_plan(const csr_view<T, I>& v, bool lower) {
  auto s = std::make_unique<solve_plan<I>>();
  const std::int64_t n = v.rows;
  const I base = v.base;
  auto position = [&](std::int64_t k) -> I {
    return v.perm != nullptr ? v.perm[k] : static_cast<I>(k);
  };
  auto depends = [&](std::int64_t i, std::int64_t j) { return lower ? j < i : j > i; };

  // Natural order, one level: solved serially.
  s->order.resize(static_cast<std::size_t>(n));
  s->level_ptr = {0, static_cast<I>(n)};
  for (std::int64_t s_ = 0; s_ < n; ++s_) s->order[s_] = static_cast<I>(lower ? s_ : n - 1 - s_);

  // The strict triangle of each row in solve order, and its diagonal.
  s->ptr.assign(static_cast<std::size_t>(n) + 1, 0);
  s->diag.assign(static_cast<std::size_t>(n), I(-1));
  for (std::int64_t r = 0; r < n; ++r) {
    const std::int64_t i = s->order[r];
    I count = 0;
    for (std::int64_t k = v.begin[i] - base; k < v.end[i] - base; ++k) {
      const std::int64_t j = v.col[k] - base;
      if (depends(i, j)) ++count;
      if (j == i) {
        // A repeated diagonal entry sums; the plan keeps one position, so it declines.
        if (s->diag[r] != I(-1)) return nullptr;
        s->diag[r] = position(k);
      }
    }
    s->ptr[r + 1] = s->ptr[r] + count;
    if (s->diag[r] == I(-1)) s->missing_diagonal = true;
  }
  // Strict triangles back to back in the caller's arrays are read there: 12 bytes an entry
  // rather than 16 for a copied column and value position.
  if (v.perm == nullptr) {
    std::vector<I> first(static_cast<std::size_t>(n));
    bool in_place = true;
    for (std::int64_t r = 0; r < n && in_place; ++r) {
      const std::int64_t i = s->order[r];
      std::int64_t lo = -1, hi = -1;
      for (std::int64_t k = v.begin[i] - base; k < v.end[i] - base; ++k) {
        if (!depends(i, v.col[k] - base)) continue;
        if (lo < 0)
          lo = k;
        else if (k != hi)
          in_place = false;
        hi = k + 1;
      }
      first[r] = static_cast<I>(lo < 0 ? 0 : lo);
    }
    if (in_place) {
      s->first = std::move(first);
      s->in_place = true;
      return s;
    }
  }
  s->col.resize(static_cast<std::size_t>(s->ptr[n]));
  s->pos.resize(static_cast<std::size_t>(s->ptr[n]));
  for (std::int64_t r = 0; r < n; ++r) {
    const std::int64_t i = s->order[r];
    I at = s->ptr[r];
    for (std::int64_t k = v.begin[i] - base; k < v.end[i] - base; ++k) {
      const std::int64_t j = v.col[k] - base;
      if (depends(i, j)) {
        s->col[at] = static_cast<I>(j);
        s->pos[at] = position(k);
        ++at;
      }
    }
  }
  return s;
}

}  // namespace

template <typename T, typename I>
const solve_plan<I>* plan_of(typed_matrix<T, I>& A, bool transposed, bool lower) {
  const csr_view<T, I> v = transposed ? rows_of_transpose(A) : rows_of(A);
  std::lock_guard<std::mutex> hold(A.lock);
  auto& slot = A.plans[transposed ? 1 : 0][lower ? 1 : 0];
  if (!slot) {
    slot = make_plan(v, lower);
    if (!slot) slot = std::make_unique<solve_plan<I>>();  // declined: an empty plan says so
  }
  return slot->order.size() == static_cast<std::size_t>(v.rows) && !slot->level_ptr.empty()
             ? slot.get()
             : nullptr;
}

template <typename T, typename I>
const solve_plan<I>* made_plan(typed_matrix<T, I>& A, bool transposed, bool lower) {
  std::lock_guard<std::mutex> hold(A.lock);
  const auto& slot = A.plans[transposed ? 1 : 0][lower ? 1 : 0];
  if (!slot || slot->level_ptr.empty()) return nullptr;
  return slot.get();
}

#define VRT_INSTANTIATE_PLAN(T, I)                                              \
  template const solve_plan<I>* plan_of<T, I>(typed_matrix<T, I>&, bool, bool); \
  template const solve_plan<I>* made_plan<T, I>(typed_matrix<T, I>&, bool, bool);
VRT_HOST_FOR_EACH_TYPE(VRT_INSTANTIATE_PLAN)

}  // namespace vrt_host
