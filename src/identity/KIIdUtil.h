#pragma once

#include <cstdint>
#include <string_view>

// Derives ids from texts. No state; any thread.
class KIIdUtil {
 public:
  KIIdUtil() = delete;

  // A 53-bit user id from an identity: the same for the same text, white space at both ends aside; 0 for a
  // blank one. Characters above U+00FF count by the low 8 bits of their UTF-16 units, as every earlier
  // release counted them.
  static std::uint64_t computeUserId(std::string_view identity);
};
