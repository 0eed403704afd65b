#pragma once

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <iterator>

namespace kova {

// Whether an error of the system may be gone at the next try.
inline bool isPassing(std::int64_t failure) {
  constexpr int kPassing[] = {EMFILE, ENFILE, ENOMEM, EINTR, EAGAIN, EIO};
  return std::find(std::begin(kPassing), std::end(kPassing), failure) != std::end(kPassing);
}

}  // namespace kova
