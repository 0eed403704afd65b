#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace platform {

// A universally unique identifier of 128 bits. A value.
class NSUUID {
 public:
  using Bytes = std::array<std::uint8_t, 16>;

  // A random one (version 4). Any thread.
  static NSUUID UUID();
  explicit NSUUID(const Bytes& bytes) : bytes_(bytes) {}

  const Bytes& bytes() const { return bytes_; }
  // Upper-case hexadecimal digits in groups of 8-4-4-4-12.
  std::string UUIDString() const;

  bool operator==(const NSUUID&) const = default;

 private:
  Bytes bytes_;
};

}  // namespace platform
