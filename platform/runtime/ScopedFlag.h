#pragma once

#include <type_traits>
#include <utility>

namespace platform {

// Puts a value in a place for as long as it lives, and then gives back what was there before: scopes may be
// nested.
template <typename T>
class ScopedValue {
 public:
  ScopedValue(T& place, std::type_identity_t<T> value)
      : place_(place), before_(std::exchange(place, value)) {}
  ~ScopedValue() { place_ = before_; }
  ScopedValue(const ScopedValue&) = delete;
  ScopedValue& operator=(const ScopedValue&) = delete;

 private:
  T& place_;
  const T before_;
};

// The same for a flag, which is raised.
class ScopedFlag : ScopedValue<bool> {
 public:
  explicit ScopedFlag(bool& flag) : ScopedValue(flag, true) {}
};

}  // namespace platform
