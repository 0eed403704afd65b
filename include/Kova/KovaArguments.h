#pragma once

#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/foundation/Value.h"

// What the public calls take. Both are made from what a host has at hand, and are for the call alone.

// Text of any kind, referred to and not copied. A null pointer, nullptr and a string_view of nothing are nil:
// no text, which is not the same as empty text.
class KovaText {
 public:
  KovaText(std::nullptr_t) {}
  KovaText(const char* text) : text_(text ? std::string_view(text) : std::string_view()) {}
  template <class Text>
  requires(std::convertible_to<const Text&, std::string_view> &&
           !std::convertible_to<const Text&, const char*>) KovaText(const Text& text)
      : text_(text) {}

  bool isNil() const { return text_.data() == nullptr; }
  // Empty for nil.
  std::string_view view() const { return text_; }

 private:
  std::string_view text_;
};

// A dictionary of properties: {{"plan", "pro"}, {"seats", 3}}, or a std::map, … of a host's own. An optional
// value without a value leaves its property out. nullptr and {} are nil, which is taken in silence. Whatever
// else becomes a Value compiles, and is discarded with a line in the debug log, the null marker Value() too.
class KovaProperties {
 public:
  KovaProperties() = default;
  KovaProperties(std::nullptr_t) {}
  KovaProperties(std::initializer_list<platform::DictionaryItem> items) : value_(items) {}
  KovaProperties(std::optional<platform::Value> value) : value_(std::move(value)) {}
  template <std::convertible_to<platform::Value> T>
  requires(!std::same_as<std::remove_cvref_t<T>, std::nullptr_t>) KovaProperties(T&& value)
      : value_(platform::Value(std::forward<T>(value))) {}

  // Nothing for nil.
  const std::optional<platform::Value>& value() const { return value_; }

 private:
  std::optional<platform::Value> value_;
};
