#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/Value.h"

namespace platform {

// The facts that an app states about itself: CFBundleName, CFBundleShortVersionString, CFBundleVersion and
// whatever else it wants to be found under objectForInfoDictionaryKey.
//
// The host states them before it starts the libraries that read them, on its main thread; afterwards any
// thread reads.
class NSBundle {
 public:
  // The app's own bundle, without facts until setInfoDictionary is called.
  static NSBundle& mainBundle();

  const Dictionary& infoDictionary() const { return infoDictionary_; }
  void setInfoDictionary(Dictionary facts) { infoDictionary_ = std::move(facts); }

  // Null when there is no such fact.
  const Value* objectForInfoDictionaryKey(std::string_view key) const { return infoDictionary_.find(key); }
  // The text of a fact that is a string; no value when it is missing or of another kind.
  std::optional<std::string> stringForInfoDictionaryKey(std::string_view key) const;

 private:
  Dictionary infoDictionary_;
};

}  // namespace platform
