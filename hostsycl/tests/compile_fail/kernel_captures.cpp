// Kernels that a device compiler refuses, one per CAPTURE_CASE: each must fail to compile here
// too, with the runtime's message. Built by ctest only (hostsycl/tests/CMakeLists.txt).
#include <functional>
#include <memory>
#include <string>
#include <sycl/sycl.hpp>
#include <vector>

namespace {

// A named functor that owns host memory and does not declare itself device-copyable.
struct owning_kernel {
  std::vector<int> table;
  int* out;
  void operator()(sycl::id<1> i) const { out[i] = table[i]; }
};

}  // namespace

void submit(sycl::queue& q, int* out) {
#if CAPTURE_CASE == 1
  std::vector<int> table{1, 2, 3};
  q.parallel_for(sycl::range<1>(3), [table, out](sycl::id<1> i) { out[i] = table[i]; });
#elif CAPTURE_CASE == 2
  std::function<int(int)> f = [](int v) { return v + 1; };
  q.parallel_for(sycl::range<1>(3), [f, out](sycl::id<1> i) { out[i] = f(1); });
#elif CAPTURE_CASE == 3
  std::string word = "abc";
  q.single_task([word, out] { out[0] = word[0]; });
#elif CAPTURE_CASE == 4
  auto shared = std::make_shared<int>(3);
  q.parallel_for(sycl::nd_range<1>(4, 2),
                 [shared, out](sycl::nd_item<1> it) { out[it.get_global_id(0)] = *shared; });
#elif CAPTURE_CASE == 5
  q.submit([&](sycl::handler& h) {
    h.parallel_for(sycl::range<1>(3), owning_kernel{{1, 2, 3}, out});
  });
#elif CAPTURE_CASE == 0
  // The control: the same shape with a plain pointer compiles.
  const int* table = out;
  q.parallel_for(sycl::range<1>(3), [table, out](sycl::id<1> i) { out[i] = table[i]; });
#endif
}
