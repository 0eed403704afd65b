#pragma once

#include <string>
#include <string_view>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/Value.h"

// What tests say about messages: compact texts of parts of them.

// Compact JSON text; empty for what cannot be written.
inline std::string json(const platform::Value& value) {
  return platform::NSJSONSerialization::dataWithJSONObject(value).value_or("");
}
inline std::string json(const platform::MutableDictionary& dictionary) {
  return json(platform::Value(platform::Dictionary(dictionary)));
}

// The value at "event/customEvent/type"; the null marker when there is none.
inline platform::Value at(const platform::Dictionary& dictionary, std::string_view path) {
  const std::size_t slash = path.find('/');
  const platform::Value* value = dictionary.find(path.substr(0, slash));
  if (!value) return nullptr;
  if (slash == std::string_view::npos) return *value;
  return value->isDictionary() ? at(value->dictionary(), path.substr(slash + 1)) : platform::Value();
}
