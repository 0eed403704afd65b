#include "src/core/NSObject+TextForKey.h"

#include "platform/runtime/NSObject.h"

using namespace platform;

std::optional<String> KOVA_textForKey(const NSObject& object, SEL key) {
  const std::string& name = NSStringFromSelector(key);
  if (!object.respondsToSelector(key) || !object.isa().hasKey(name)) return std::nullopt;
  const KeyValue value = object.valueForKey(name);
  const auto* text = std::get_if<std::string>(&value);
  return text ? std::optional<String>(*text) : std::nullopt;
}
