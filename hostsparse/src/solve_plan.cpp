// Triangular solve plans, made by optimize after a solve hint: rows grouped in level sets
// (a row's level is one more than the deepest level it depends on), the strict triangle of
// each row copied out in solve order so a solve streams through it without testing columns.
// Levels are solved in parallel only when they are wide enough to pay for a barrier each;
// otherwise the plan keeps the natural order and one level, and the solve is serial.
#include <algorithm>

#include "matrix.hpp"
#include "team.hpp"

namespace vrt_host {

namespace {

// Rows per level, on average, below which barriers cost more than two threads save.
constexpr std::int64_t least_rows_per_level = 16384;

template <typename T, typename I>
std::unique_ptr<solve_plan<I>> make_plan(const csr_view<T, I>& v, bool lower) {
  auto s = std::make_unique<solve_plan<I>>();
  const std::int64_t n = v.rows;
  const I base = v.base;
  auto position = [&](std::int64_t k) -> I { return v.perm != nullptr ? v.perm[k] : static_cast<I>(k); };
  auto depends = [&](std::int64_t i, std::int64_t j) { return lower ? j < i : j > i; };

  // Levels, walking rows in dependency order.
  std::vector<I> level(static_cast<std::size_t>(n), 0);
  std::int64_t depth = n > 0 ? 1 : 0;
  for (std::int64_t s_ = 0; s_ < n; ++s_) {
    const std::int64_t i = lower ? s_ : n - 1 - s_;
    I l = 0;
    for (std::int64_t k = v.begin[i] - base; k < v.end[i] - base; ++k) {
      const std::int64_t j = v.col[k] - base;
      if (depends(i, j)) l = std::max<I>(l, level[j] + 1);
    }
    level[i] = l;
    depth = std::max<std::int64_t>(depth, static_cast<std::int64_t>(l) + 1);
  }
  s->parallel = max_team() > 1 && n >= least_rows_per_level * depth;

  s->order.resize(static_cast<std::size_t>(n));
  if (s->parallel) {
    s->level_ptr.assign(static_cast<std::size_t>(depth) + 1, 0);
    for (std::int64_t i = 0; i < n; ++i) ++s->level_ptr[level[i] + 1];
    for (std::int64_t l = 0; l < depth; ++l) s->level_ptr[l + 1] += s->level_ptr[l];
    std::vector<I> cursor(s->level_ptr.begin(), s->level_ptr.end() - 1);
    for (std::int64_t s_ = 0; s_ < n; ++s_) {
      const std::int64_t i = lower ? s_ : n - 1 - s_;
      s->order[cursor[level[i]]++] = static_cast<I>(i);
    }
  } else {
    s->level_ptr = {0, static_cast<I>(n)};
    for (std::int64_t s_ = 0; s_ < n; ++s_) s->order[s_] = static_cast<I>(lower ? s_ : n - 1 - s_);
  }

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

#define VRT_INSTANTIATE_PLAN(T, I)                                                       \
  template const solve_plan<I>* plan_of<T, I>(typed_matrix<T, I>&, bool, bool);          \
  template const solve_plan<I>* made_plan<T, I>(typed_matrix<T, I>&, bool, bool);
VRT_HOST_FOR_EACH_TYPE(VRT_INSTANTIATE_PLAN)

}  // namespace vrt_host
