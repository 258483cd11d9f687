// sycl::exception, error codes and the asynchronous error list.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace sycl {

class context;

enum class errc : int {
  success = 0,
  runtime,
  kernel,
  accessor,
  nd_range,
  event,
  kernel_argument,
  build,
  invalid,
  memory_allocation,
  platform,
  profiling,
  feature_not_supported,
  kernel_not_supported,
  backend_mismatch
};

const std::error_category& sycl_category() noexcept;
inline std::error_code make_error_code(errc e) noexcept {
  return {static_cast<int>(e), sycl_category()};
}

class exception : public virtual std::exception {
 public:
  exception(std::error_code ec, const std::string& what_arg);
  exception(std::error_code ec, const char* what_arg) : exception(ec, std::string(what_arg)) {}
  exception(std::error_code ec) : exception(ec, std::string()) {}
  exception(int ev, const std::error_category& ecat, const std::string& what_arg)
      : exception(std::error_code(ev, ecat), what_arg) {}
  exception(int ev, const std::error_category& ecat, const char* what_arg)
      : exception(std::error_code(ev, ecat), std::string(what_arg)) {}
  exception(int ev, const std::error_category& ecat) : exception(std::error_code(ev, ecat)) {}
  exception(context ctx, std::error_code ec, const std::string& what_arg);
  exception(context ctx, std::error_code ec, const char* what_arg);
  exception(context ctx, std::error_code ec);
  exception(context ctx, int ev, const std::error_category& ecat, const std::string& what_arg);
  exception(context ctx, int ev, const std::error_category& ecat, const char* what_arg);
  exception(context ctx, int ev, const std::error_category& ecat);

  const std::error_code& code() const noexcept { return code_; }
  const std::error_category& category() const noexcept { return code_.category(); }
  const char* what() const noexcept override { return message_->c_str(); }
  bool has_context() const noexcept { return context_ != nullptr; }
  context get_context() const;

 private:
  std::error_code code_;
  std::shared_ptr<std::string> message_;
  std::shared_ptr<context> context_;
};

class exception_list {
 public:
  using value_type = std::exception_ptr;
  using reference = value_type&;
  using const_reference = const value_type&;
  using size_type = std::size_t;
  using iterator = std::vector<std::exception_ptr>::const_iterator;
  using const_iterator = std::vector<std::exception_ptr>::const_iterator;

  size_type size() const { return list_.size(); }
  iterator begin() const { return list_.begin(); }
  iterator end() const { return list_.end(); }

  // Only the runtime builds lists.
  explicit exception_list(std::vector<std::exception_ptr> list) : list_(std::move(list)) {}

 private:
  std::vector<std::exception_ptr> list_;
};

using async_handler = std::function<void(sycl::exception_list)>;

}  // namespace sycl

namespace std {
template <>
struct is_error_code_enum<sycl::errc> : true_type {};
}  // namespace std

namespace sycl::detail {
[[noreturn]] inline void throw_error(errc code, const std::string& message) {
  throw sycl::exception(make_error_code(code), message);
}
}  // namespace sycl::detail
