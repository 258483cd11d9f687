// The exception family: every message is composed here, in one place.
#include <orvane/vrt/sparse.hpp>

namespace orvane::vrt {

namespace {
// "<what>: <detail>", or just "<what>" when there is no detail.
std::string with_detail(const char* what, const std::string& detail) {
  return detail.empty() ? std::string(what) : std::string(what) + ": " + detail;
}
}  // namespace

exception::exception(const std::string& domain, const std::string& function,
                     const std::string& info)
    : message_("orvane::vrt") {
  if (!domain.empty()) message_ += "::" + domain;
  if (!function.empty()) message_ += "::" + function;
  if (!info.empty()) message_ += ": " + info;
}

const char* exception::what() const noexcept { return message_.c_str(); }

unsupported_device::unsupported_device(const std::string& domain, const std::string& function,
                                       const sycl::device& device)
    : exception(domain, function,
                "unsupported device: " + device.get_info<sycl::info::device::name>()) {}

device_bad_alloc::device_bad_alloc(const std::string& domain, const std::string& function,
                                   const sycl::device& device)
    : exception(domain, function,
                "cannot allocate memory on " + device.get_info<sycl::info::device::name>()) {}

host_bad_alloc::host_bad_alloc(const std::string& domain, const std::string& function)
    : exception(domain, function, "cannot allocate memory on host") {}

uninitialized::uninitialized(const std::string& domain, const std::string& function,
                             const std::string& detail)
    : exception(domain, function, with_detail("uninitialized object", detail)) {}

invalid_argument::invalid_argument(const std::string& domain, const std::string& function,
                                   const std::string& detail)
    : exception(domain, function, with_detail("invalid argument", detail)) {}

unimplemented::unimplemented(const std::string& domain, const std::string& function,
                             const std::string& detail)
    : exception(domain, function, with_detail("unimplemented functionality", detail)) {}

computation_error::computation_error(const std::string& domain, const std::string& function,
                                     const std::string& detail)
    : exception(domain, function, with_detail("computation error", detail)) {}

}  // namespace orvane::vrt
