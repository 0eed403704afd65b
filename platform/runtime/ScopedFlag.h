#pragma once

#include <utility>

namespace platform {

// Raises a flag for as long as it lives, and then gives back what was there before: scopes may be nested.
class ScopedFlag {
 public:
  explicit ScopedFlag(bool& flag) : flag_(flag), before_(std::exchange(flag, true)) {}
  ~ScopedFlag() { flag_ = before_; }
  ScopedFlag(const ScopedFlag&) = delete;
  ScopedFlag& operator=(const ScopedFlag&) = delete;

 private:
  bool& flag_;
  const bool before_;
};

}  // namespace platform
