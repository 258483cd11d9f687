// Identity of objects with reference semantics that are copied as plain values (accessors):
// copies keep the number, every construction draws a new one.
#pragma once

#include <cstdint>
#include <functional>

namespace sycl::detail {

// A process-wide counter in the runtime, so numbers never repeat across libraries.
std::uint64_t next_object_identity() noexcept;

class object_identity {
 public:
  object_identity() noexcept : value_(next_object_identity()) {}
  std::uint64_t value() const noexcept { return value_; }
  friend bool operator==(const object_identity&, const object_identity&) = default;

 private:
  std::uint64_t value_;
};

// std::hash of an object that carries an identity.
template <typename T>
struct identity_hash {
  std::size_t operator()(const T& object) const noexcept {
    return std::hash<std::uint64_t>()(object.detail_identity().value());
  }
};

}  // namespace sycl::detail
