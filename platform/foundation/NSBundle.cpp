#include "platform/foundation/NSBundle.h"

namespace platform {

NSBundle& NSBundle::mainBundle() {
  static NSBundle& bundle = *new NSBundle;
  return bundle;
}

std::optional<std::string> NSBundle::stringForInfoDictionaryKey(std::string_view key) const {
  const Value* fact = objectForInfoDictionaryKey(key);
  if (!fact || !fact->isString()) return std::nullopt;
  return fact->string().str();
}

}  // namespace platform
