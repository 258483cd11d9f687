// Demo of the SYCL runtime: a two-pass sum of squares on a GPU queue (work-groups, local
// memory, barriers, a sub-group reduction), finished by a host task on a CPU queue.
#include <cmath>
#include <cstdio>
#include <sycl/sycl.hpp>
#include <vector>

int main() {
  constexpr std::size_t n = 1 << 20;
  constexpr std::size_t group_size = 256;
  constexpr std::size_t groups = n / group_size;

  sycl::queue gpu{sycl::gpu_selector_v};
  sycl::queue cpu{sycl::cpu_selector_v};
  std::printf("GPU queue: %s\nCPU queue: %s\n",
              gpu.get_device().get_info<sycl::info::device::name>().c_str(),
              cpu.get_device().get_info<sycl::info::device::name>().c_str());

  std::vector<double> input(n);
  for (std::size_t i = 0; i < n; ++i) input[i] = std::sin(0.001 * static_cast<double>(i));
  std::vector<double> partial(groups, 0.0);
  double total = 0.0;
  {
    sycl::buffer<double> in_buf(input.data(), sycl::range<1>(n));
    sycl::buffer<double> partial_buf(partial.data(), sycl::range<1>(groups));
    gpu.submit([&](sycl::handler& h) {
      sycl::accessor in(in_buf, h, sycl::read_only);
      sycl::accessor out(partial_buf, h, sycl::write_only, sycl::no_init);
      sycl::local_accessor<double, 1> scratch(sycl::range<1>(group_size), h);
      h.parallel_for(sycl::nd_range<1>(n, group_size), [=](sycl::nd_item<1> it) {
        const std::size_t lid = it.get_local_id(0);
        const double x = in[it.get_global_id(0)];
        // Each sub-group reduces its squares; sub-group leaders publish to local memory.
        const auto sg = it.get_sub_group();
        const double sg_sum = sycl::reduce_over_group(sg, x * x, sycl::plus<double>());
        if (sg.leader()) scratch[sg.get_group_linear_id()] = sg_sum;
        sycl::group_barrier(it.get_group());
        if (lid == 0) {
          double s = 0.0;
          for (std::size_t k = 0; k < sg.get_group_linear_range(); ++k) s += scratch[k];
          out[it.get_group(0)] = s;
        }
      });
    });
    sycl::buffer<double> total_buf(&total, sycl::range<1>(1));
    cpu.submit([&](sycl::handler& h) {
      sycl::accessor parts(partial_buf, h, sycl::read_only_host_task);
      sycl::accessor result(total_buf, h, sycl::write_only_host_task);
      h.host_task([=] {
        double s = 0.0;
        for (std::size_t g = 0; g < groups; ++g) s += parts[g];
        result[0] = s;
      });
    });
  }

  double expected = 0.0;
  for (double x : input) expected += x * x;
  const double error = std::fabs(total - expected) / expected;
  std::printf("sum of squares: %.12g (host reference %.12g, relative error %.2e)\n", total,
              expected, error);
  const bool ok = error < 1e-12;
  std::printf("%s\n", ok ? "PASS" : "FAIL");
  return ok ? 0 : 1;
}
