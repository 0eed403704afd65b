#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace platform {

class NSObject;

// What key-value coding answers. std::monostate is nil; the pointer of an object alternative is never null.
using KeyValue =
    std::variant<std::monostate, bool, std::int64_t, double, std::string, std::shared_ptr<NSObject>>;

// A key that the class of the receiver does not list.
class UndefinedKeyError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An observer was removed that was not there.
class NotAnObserverError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Numbers and enumerations widen, an empty optional and every kind of null pointer is nil. A plain pointer is
// answered as the shared object it points to, and as nil when nobody shares it.
template <typename T>
KeyValue toKeyValue(const T& value) {
  if constexpr (std::is_same_v<T, KeyValue>) {
    return value;
  } else if constexpr (std::is_same_v<T, bool>) {
    return value;
  } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
    return static_cast<std::int64_t>(value);
  } else if constexpr (std::is_floating_point_v<T>) {
    return static_cast<double>(value);
  } else if constexpr (std::is_same_v<T, const char*>) {
    return value ? KeyValue(std::string(value)) : KeyValue();
  } else if constexpr (std::is_convertible_v<T, std::string_view>) {
    return std::string(std::string_view(value));
  } else if constexpr (requires { value.has_value(); }) {
    return value ? toKeyValue(*value) : KeyValue();
  } else if constexpr (requires { value.lock(); }) {
    return toKeyValue(value.lock());
  } else if constexpr (std::is_pointer_v<T>) {
    return value ? toKeyValue(value->weak_from_this().lock()) : KeyValue();
  } else {
    return value ? KeyValue(std::shared_ptr<NSObject>(value)) : KeyValue();
  }
}

}  // namespace platform
