#pragma once

#include <optional>

#include "platform/foundation/String.h"
#include "platform/runtime/SEL.h"

namespace platform {
class NSObject;
}

// What an object of any class answers by key, as text. None when it does not respond to the key's selector,
// when its class has no such key (answering the selector alone is not enough to be read), and when the value
// is no text. On the thread of the object; what its getter throws passes through.
std::optional<platform::String> KOVA_textForKey(const platform::NSObject& object, platform::SEL key);
