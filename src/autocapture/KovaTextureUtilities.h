#pragma once

#include <optional>

#include "platform/foundation/String.h"
#include "src/core/Threads.h"

namespace platform {
class NSObject;
}

// Views of the Texture toolkit, which draw their text themselves: recognised and read by name, so that
// nothing of the toolkit is needed.
class KovaTextureUtilities {
 public:
  KovaTextureUtilities() = delete;

  static bool isTextureNode(const platform::NSObject& object);
  // The node's title without its attributes. None when there is no such title, and when reading it fails.
  static std::optional<platform::String> getTextFromTextureNode(const platform::NSObject& object)
      KOVA_ON_MAIN_THREAD;
};
