#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/Value.h"

namespace platform {

// Reads and writes JSON text. No state; may be called from any thread.
class NSJSONSerialization {
 public:
  // Whether the value can be written: an array or a dictionary whose members are strings, finite numbers,
  // booleans, null markers, arrays and dictionaries with string keys, at most 512 levels deep.
  static bool isValidJSONObject(const Value& object);
  // The same for a dictionary that will become part of something larger: at most 504 levels deep.
  static bool isValidJSONObject(const MutableDictionary& object);

  // Compact UTF-8 text, entries in the order of the dictionary. Nothing for what is not valid as above.
  static std::optional<std::string> dataWithJSONObject(const Value& object);

  // The value of one JSON text, scalars at the top included. Nothing for text that is not JSON, is not UTF-8
  // or is nested more than 512 levels deep. Whole numbers of 64 bits stay whole, other numbers become reals.
  static std::optional<Value> JSONObjectWithData(std::string_view data);
};

}  // namespace platform
