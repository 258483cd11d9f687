// The README cannot drift: its table of what runs where is checked against the library (each
// routine is called on the CPU device and on every emulated GPU, and whether it runs or refuses
// as unimplemented must match the table's cell), and its architecture tables name only folders
// that exist.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <hostsycl/hostsycl.hpp>
#include <map>
#include <orvane/vrt/sparse.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

// One row of the table: the routine and its two cells.
struct table_row {
  std::string cpu;
  std::string gpu;
};

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// The cells of a markdown table line "| a | b | c |"; empty when the line is no table row.
// (Hand-parsed: g++ 12's <regex> trips -Wmaybe-uninitialized under the sanitizer build.)
std::vector<std::string> table_cells(const std::string& line) {
  std::vector<std::string> cells;
  if (line.size() < 2 || line.front() != '|' || line.back() != '|') return cells;
  std::size_t start = 1;
  for (std::size_t bar = line.find('|', start); bar != std::string::npos;
       bar = line.find('|', start)) {
    cells.push_back(trimmed(line.substr(start, bar - start)));
    start = bar + 1;
  }
  return cells;
}

// The text between the first pair of backquotes of a cell, when that is all the cell holds.
std::string quoted_name(const std::string& cell) {
  if (cell.size() < 3 || cell.front() != '`' || cell.back() != '`') return "";
  const std::string name = cell.substr(1, cell.size() - 2);
  for (char c : name)
    if (!(std::islower(static_cast<unsigned char>(c)) || c == '_')) return "";
  return name;
}

std::map<std::string, table_row> read_table() {
  std::ifstream readme(VRT_README);
  std::map<std::string, table_row> rows;
  std::string line;
  bool inside = false;
  while (std::getline(readme, line)) {
    if (line.rfind("## What runs where", 0) == 0)
      inside = true;
    else if (inside && line.rfind("## ", 0) == 0)
      break;
    if (!inside) continue;
    const auto cells = table_cells(line);
    if (cells.size() != 3) continue;
    const std::string name = quoted_name(cells[0]);
    if (!name.empty()) rows[name] = {cells[1], cells[2]};
  }
  return rows;
}

// Every backquoted word of a line that ends in a slash: the folders a table names.
std::vector<std::string> quoted_folders(const std::string& line) {
  std::vector<std::string> folders;
  for (std::size_t open = line.find('`'); open != std::string::npos; open = line.find('`', open)) {
    const std::size_t close = line.find('`', open + 1);
    if (close == std::string::npos) break;
    const std::string word = line.substr(open + 1, close - open - 1);
    const bool plain = !word.empty() &&
                       word.find_first_not_of(
                           "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./-") ==
                           std::string::npos;
    if (plain && word.back() == '/') folders.push_back(word);
    open = close + 1;
  }
  return folders;
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
  // C's entries, allocated once the product's count is known.
  std::int32_t* c_col_ind = nullptr;
  double* c_values = nullptr;

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
                    static_cast<void*>(d), static_cast<void*>(c_row_ptr),
                    static_cast<void*>(c_col_ind), static_cast<void*>(c_values)})
      sycl::free(p, q);
  }
};

using routine = std::function<void(small_problem&)>;

const std::map<std::string, routine>& routines() {
  using vrt::transpose;
  static const std::map<std::string, routine> all = {
      {"gemv",
       [](small_problem& p) {
         vs::gemv(p.q, transpose::nontrans, 1.0, p.A, p.x, 0.0, p.y).wait();
       }},
      {"gemvdot",
       [](small_problem& p) {
         vs::gemvdot(p.q, transpose::nontrans, 1.0, p.A, p.x, 0.0, p.y, p.d).wait();
       }},
      {"symv",
       [](small_problem& p) { vs::symv(p.q, vrt::uplo::lower, 1.0, p.A, p.x, 0.0, p.y).wait(); }},
      {"trmv",
       [](small_problem& p) {
         vs::trmv(p.q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, 1.0, p.A, p.x,
                  0.0, p.y)
             .wait();
       }},
      {"trsv",
       [](small_problem& p) {
         vs::trsv(p.q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, 1.0, p.A, p.x,
                  p.y)
             .wait();
       }},
      {"trsm",
       [](small_problem& p) {
         vs::trsm(p.q, vrt::layout::row_major, transpose::nontrans, transpose::nontrans,
                  vrt::uplo::lower, vrt::diag::nonunit, 1.0, p.A, p.x, 2, 2, p.y, 2)
             .wait();
       }},
      {"gemm",
       [](small_problem& p) {
         vs::gemm(p.q, vrt::layout::row_major, transpose::nontrans, transpose::nontrans, 1.0, p.A,
                  p.x, 2, 2, 0.0, p.y, 2)
             .wait();
       }},
      {"matmat",
       [](small_problem& p) {
         // The whole product in the values-only order: the routine runs only if every stage does.
         using request = vs::matmat_request;
         vs::matmat_descr_t descr = nullptr;
         vs::init_matmat_descr(&descr);
         std::int64_t* size = sycl::malloc_shared<std::int64_t>(1, p.q);
         auto stage = [&](request r) {
           vs::matmat(p.q, p.A, p.B, p.C, r, descr, size, nullptr).wait();
         };
         try {
           for (request r : {request::get_work_estimation_buf_size, request::work_estimation,
                             request::get_compute_buf_size, request::compute, request::get_nnz})
             stage(r);
           const auto nnz = static_cast<std::size_t>(*size);
           p.c_col_ind = sycl::malloc_shared<std::int32_t>(nnz, p.q);
           p.c_values = sycl::malloc_shared<double>(nnz, p.q);
           vs::set_csr_data(p.q, p.C, 2, 2, vrt::index_base::zero, p.c_row_ptr, p.c_col_ind,
                            p.c_values)
               .wait();
           stage(request::finalize);
         } catch (...) {
           sycl::free(size, p.q);
           vs::release_matmat_descr(&descr);
           throw;
         }
         sycl::free(size, p.q);
         vs::release_matmat_descr(&descr);
       }},
      {"optimize_gemv",
       [](small_problem& p) { vs::optimize_gemv(p.q, transpose::nontrans, p.A).wait(); }},
      {"optimize_trmv",
       [](small_problem& p) {
         vs::optimize_trmv(p.q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, p.A)
             .wait();
       }},
      {"optimize_trsv",
       [](small_problem& p) {
         vs::optimize_trsv(p.q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, p.A)
             .wait();
       }},
      {"optimize_trsm",
       [](small_problem& p) {
         vs::optimize_trsm(p.q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, p.A)
             .wait();
       }},
      {"sort_matrix", [](small_problem& p) { vs::sort_matrix(p.q, p.A).wait(); }},
      {"omatcopy", [](small_problem& p) { vs::omatcopy(p.q, transpose::trans, p.A, p.B).wait(); }},
      {"update_diagonal_values",
       [](small_problem& p) { vs::update_diagonal_values(p.q, p.A, 2, p.x).wait(); }},
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
  for (auto it = codes.begin(); it != codes.end(); ++it)
    out << (it == codes.begin() ? "" : ", ") << *it;
  return out.str();
}

TEST(ReadmeTable, ArchitectureNamesOnlyFoldersThatExist) {
  const std::filesystem::path top = std::filesystem::path(VRT_README).parent_path();
  std::ifstream readme(VRT_README);
  std::string line;
  bool inside = false;
  int folders = 0;
  while (std::getline(readme, line)) {
    if (line.rfind("## Architecture", 0) == 0)
      inside = true;
    else if (inside && line.rfind("## ", 0) == 0)
      break;
    if (!inside || line.rfind("|", 0) != 0) continue;
    for (const auto& name : quoted_folders(line)) {
      ++folders;
      EXPECT_TRUE(std::filesystem::is_directory(top / name)) << name;
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
