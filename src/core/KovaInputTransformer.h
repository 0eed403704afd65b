#pragma once

#include <optional>
#include <string_view>

#include "platform/foundation/Value.h"

// Turns the dictionaries that a host passes in into what can be transmitted: booleans stay booleans,
// everything else becomes its description. Class operations only; any thread.
class KovaInputTransformer {
 public:
  KovaInputTransformer() = delete;

  // Whether this is a dictionary with something in it. Anything but a dictionary is logged; nothing at all is
  // not.
  static bool checkObjectForViability(const std::optional<platform::Value>& object);

  struct Transmittable {
    platform::Value value;
    std::string_view type;  // "bool" or "string"
  };
  static Transmittable transmittablePropertyValueForValue(const platform::Value& value);

  // Typed properties: each name maps to {type: value}. Keys that are no strings are dropped, with a line of
  // debug log. Empty for what is not viable.
  static platform::Dictionary transmittableDictionaryForPropertyDictionary(
      const std::optional<platform::Value>& properties);

  // Whether they can be typed later, on another thread, with the same result and without a line of log. That
  // is so for a dictionary of texts, booleans and numbers.
  static bool isPlain(const std::optional<platform::Value>& properties);

  // Flat properties, without the type. Keys that are no strings and null markers are dropped, with a line of
  // debug log each. Empty for what is not viable.
  static platform::Dictionary serializablePropertyDictionaryForProperties(
      const std::optional<platform::Value>& properties);
};
