// The README cannot drift: its table of what runs where is checked against the library (each
// routine is called on the CPU device and on every emulated GPU, and whether it runs or refuses
// as unimplemented must match the table's cell), and its architecture tables name only folders
// that exist.
#include <gtest/gtest.h>
#include <hostsycl/hostsycl.hpp>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <orvane/vrt/sparse.hpp>

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

// One row of the table: the routine and its two cells.
struct table_row {
  std::string cpu;
  std::string gpu;
};

std::map<std::string, table_row> read_table() {
  std::ifstream readme(VRT_README);
  std::map<std::string, table_row> rows;
  std::string line;
  bool inside = false;
  const std::regex row(R"(^\|\s*`([a-z_]+)`\s*\|\s*([^|]*?)\s*\|\s*([^|]*?)\s*\|$)");
  while (std::getline(readme, line)) {
    if (line.rfind("## What runs where", 0) == 0) inside = true;
    else if (inside && line.rfind("## ", 0) == 0) break;
    std::smatch m;
    if (inside && std::regex_match(line, m, row)) rows[m[1]] = {m[2], m[3]};
  }
  return rows;
}

// A 2 x 2 lower triangle [[2, 0], [1, 4]] in shared USM, bound to a fresh handle.
struct small_problem {
  sycl::queue& q;
  std::int32_t* row_ptr = sycl::malloc_shared<std::int32_t>(3, q);
  std::int32_t* col_ind = sycl::malloc_shared<std::int32_t>(3, q);
  double* values = sycl::malloc_shared<double>(3, q);
  double* x = sycl::malloc_shared<double>(8, q);
  double* y = sycl::malloc_shared<double>(8, q);
  double* d = sycl::malloc_shared<double>(1, q);
  vs::matrix_handle_t A = nullptr;
  vs::matrix_handle_t B = nullptr;
  vs::matrix_handle_t C = nullptr;
  std::int32_t* c_row_ptr = sycl::malloc_shared<std::int32_t>(3, q);

  explicit small_problem(sycl::queue& queue) : q(queue) {
    const std::int32_t rp[] = {0, 1, 3}, ci[] = {0, 0, 1};
    const double v[] = {2, 1, 4};
    for (int k = 0; k < 3; ++k) row_ptr[k] = rp[k], col_ind[k] = ci[k], values[k] = v[k];
    for (int k = 0; k < 8; ++k) x[k] = 1, y[k] = 0;
    for (vs::matrix_handle_t* h : {&A, &B, &C}) vs::init_matrix_handle(h);
    vs::set_csr_data(q, A, 2, 2, vrt::index_base::zero, row_ptr, col_ind, values).wait();
    vs::set_csr_data(q, B, 2, 2, vrt::index_base::zero, row_ptr, col_ind, values).wait();
    vs::set_csr_data(q, C, 2, 2, vrt::index_base::zero, c_row_ptr, (std::int32_t*)nullptr,
                     (double*)nullptr)
        .wait();
  }
  ~small_problem() {
    for (vs::matrix_handle_t* h : {&A, &B, &C}) vs::release_matrix_handle(q, h).wait();
    for (void* p : {static_cast<void*>(row_ptr), static_cast<void*>(col_ind),
                    static_cast<void*>(values), static_cast<void*>(x), static_cast<void*>(y),
                    static_cast<void*>(d), static_cast<void*>(c_row_ptr)})
      sycl::free(p, q);
  }
};

using routine = std::function<void(small_problem&)>;

const std::map<std::string, routine>& routines() {
  using vrt::transpose;
  static const std::map<std::string, routine> all = {
      {"gemv", [](small_problem& p) { vs::gemv(p.q, transpose::nontrans, 1.0, p.A, p.x, 0.0, p.y).wait(); }},
      {"gemvdot", [](small_problem& p) { vs::gemvdot(p.q, transpose::nontrans, 1.0, p.A, p.x, 0.0, p.y, p.d).wait(); }},
      {"symv", [](small_problem& p) { vs::symv(p.q, vrt::uplo::lower, 1.0, p.A, p.x, 0.0, p.y).wait(); }},
      {"trmv", [](small_problem& p) { vs::trmv(p.q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, 1.0, p.A, p.x, 0.0, p.y).wait(); }},
      {"trsv", [](small_problem& p) { vs::trsv(p.q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, 1.0, p.A, p.x, p.y).wait(); }},
      {"trsm", [](small_problem& p) { vs::trsm(p.q, vrt::layout::row_major, transpose::nontrans, transpose::nontrans, vrt::uplo::lower, vrt::diag::nonunit, 1.0, p.A, p.x, 2, 2, p.y, 2).wait(); }},
      {"gemm", [](small_problem& p) { vs::gemm(p.q, vrt::layout::row_major, transpose::nontrans, transpose::nontrans, 1.0, p.A, p.x, 2, 2, 0.0, p.y, 2).wait(); }},
      {"matmat", [](small_problem& p) {
         vs::matmat_descr_t descr = nullptr;
         vs::init_matmat_descr(&descr);
         std::int64_t* size = sycl::malloc_shared<std::int64_t>(1, p.q);
         try {
           vs::matmat(p.q, p.A, p.B, p.C, vs::matmat_request::get_work_estimation_buf_size, descr, size, nullptr).wait();
         } catch (...) {
           sycl::free(size, p.q);
           vs::release_matmat_descr(&descr);
           throw;
         }
         sycl::free(size, p.q);
         vs::release_matmat_descr(&descr);
       }},
      {"optimize_gemv", [](small_problem& p) { vs::optimize_gemv(p.q, transpose::nontrans, p.A).wait(); }},
      {"optimize_trmv", [](small_problem& p) { vs::optimize_trmv(p.q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, p.A).wait(); }},
      {"optimize_trsv", [](small_problem& p) { vs::optimize_trsv(p.q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, p.A).wait(); }},
      {"optimize_trsm", [](small_problem& p) { vs::optimize_trsm(p.q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, p.A).wait(); }},
      {"sort_matrix", [](small_problem& p) { vs::sort_matrix(p.q, p.A).wait(); }},
      {"omatcopy", [](small_problem& p) { vs::omatcopy(p.q, transpose::trans, p.A, p.B).wait(); }},
      {"update_diagonal_values", [](small_problem& p) { vs::update_diagonal_values(p.q, p.A, 2, p.x).wait(); }},
  };
  return all;
}

// True when the routine runs, false when it refuses as unimplemented; anything else fails.
bool runs(const std::string& name, sycl::queue& q) {
  small_problem problem(q);
  try {
    routines().at(name)(problem);
    return true;
  } catch (const vrt::unimplemented&) {
    return false;
  }
}

// "yes", "no", or "codes 0, 1, 2, 5": the architecture codes on which the routine runs.
std::string gpu_cell(const std::set<int>& codes, std::size_t all) {
  if (codes.empty()) return "no";
  if (codes.size() == all) return "yes";
  std::ostringstream out;
  out << "codes ";
  for (auto it = codes.begin(); it != codes.end(); ++it) out << (it == codes.begin() ? "" : ", ") << *it;
  return out.str();
}

TEST(ReadmeTable, ArchitectureNamesOnlyFoldersThatExist) {
  const std::filesystem::path top = std::filesystem::path(VRT_README).parent_path();
  std::ifstream readme(VRT_README);
  std::string line;
  bool inside = false;
  int folders = 0;
  const std::regex folder("`([A-Za-z0-9_./-]+/)`");
  while (std::getline(readme, line)) {
    if (line.rfind("## Architecture", 0) == 0) inside = true;
    else if (inside && line.rfind("## ", 0) == 0) break;
    if (!inside || line.rfind("|", 0) != 0) continue;
    for (std::sregex_iterator it(line.begin(), line.end(), folder), end; it != end; ++it) {
      ++folders;
      EXPECT_TRUE(std::filesystem::is_directory(top / (*it)[1].str())) << (*it)[1];
    }
  }
  EXPECT_GT(folders, 10);
}

TEST(ReadmeTable, ListsEveryPublicRoutineOnce) {
  const auto table = read_table();
  ASSERT_EQ(table.size(), routines().size()) << "the README table and this test list routines";
  for (const auto& [name, unused] : routines()) EXPECT_TRUE(table.count(name)) << name;
}

TEST(ReadmeTable, SaysWhatRunsOnEachDevice) {
  const auto table = read_table();
  std::set<int> all_codes;
  for (const auto& profile : hostsycl::gpu_profiles()) all_codes.insert(profile.architecture);
  for (const auto& [name, cells] : table) {
    if (!routines().count(name)) continue;
    sycl::queue cpu{sycl::cpu_selector_v};
    EXPECT_EQ(runs(name, cpu) ? "yes" : "no", cells.cpu) << name << " on the CPU device";
    std::set<int> codes;
    for (const auto& profile : hostsycl::gpu_profiles()) {
      if (!profile.fp64) continue;  // the problem is in double precision
      sycl::queue gpu{hostsycl::emulated_gpu(profile.name)};
      if (runs(name, gpu)) codes.insert(profile.architecture);
    }
    EXPECT_EQ(gpu_cell(codes, all_codes.size()), cells.gpu) << name << " on the emulated GPUs";
  }
}

}  // namespace
