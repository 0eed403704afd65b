#include "src/core/KovaInputTransformer.h"

#include <algorithm>

#include "src/core/KovaLogger.h"

using namespace platform;

namespace {

// Every boolean property is one of these two, so they are made once.
const Dictionary& typedBoolean(bool boolean) {
  static const Dictionary& yes = *new Dictionary{{"bool", true}};
  static const Dictionary& no = *new Dictionary{{"bool", false}};
  return boolean ? yes : no;
}

}  // namespace

bool KovaInputTransformer::checkObjectForViability(const std::optional<Value>& object) {
  if (!object) return false;
  if (!object->isDictionary()) {
    KovaLogDebug("Event/user properties were of type %@ and were discarded", object->className());
    return false;
  }
  return !object->dictionary().empty();
}

KovaInputTransformer::Transmittable KovaInputTransformer::transmittablePropertyValueForValue(
    const Value& value) {
  if (value.isBoolean()) return {value, "bool"};
  if (value.isString()) return {value, "string"};
  return {value.description(), "string"};
}

bool KovaInputTransformer::isPlain(const std::optional<Value>& properties) {
  if (!properties || !properties->isDictionary()) return false;
  const Dictionary& entries = properties->dictionary();
  return std::all_of(entries.begin(), entries.end(), [](const Entry& entry) {
    return entry.first.isString() && (entry.second.isString() || entry.second.isNumber());
  });
}

Dictionary KovaInputTransformer::transmittableDictionaryForPropertyDictionary(
    const std::optional<Value>& properties) {
  if (!checkObjectForViability(properties)) return {};
  MutableDictionary typed;
  typed.reserve(properties->dictionary().size());
  for (const auto& [key, value] : properties->dictionary()) {
    if (!key.isString()) {
      KovaLogDebug("Property key of type %@ was discarded: %@", key.className(), key);
      continue;
    }
    if (value.isBoolean()) {
      typed.append(key, typedBoolean(value.boolean()));
      continue;
    }
    auto transmittable = transmittablePropertyValueForValue(value);
    typed.append(key, Dictionary{{transmittable.type, std::move(transmittable.value)}});
  }
  return Dictionary(std::move(typed));
}

Dictionary KovaInputTransformer::serializablePropertyDictionaryForProperties(
    const std::optional<Value>& properties) {
  if (!checkObjectForViability(properties)) return {};
  MutableDictionary flat;
  for (const auto& [key, value] : properties->dictionary()) {
    if (!key.isString()) {
      KovaLogDebug("Property key of type %@ was discarded", key.className());
    } else if (value.isNull()) {
      KovaLogDebug("AddUserProperties: ignoring NSNull value for %@", key);
    } else {
      flat.append(key, transmittablePropertyValueForValue(value).value);
    }
  }
  return Dictionary(std::move(flat));
}
