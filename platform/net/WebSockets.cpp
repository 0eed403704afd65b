#include "platform/net/WebSockets.h"

#include "platform/foundation/SeparatePart.h"
#include "platform/runtime/Export.h"

#ifndef PLATFORM_SOCKETS_LIBRARY  // of static libraries
#define PLATFORM_SOCKETS_LIBRARY nullptr
#endif

// Programs that have the part linked in define it.
extern "C" __attribute__((weak)) platform::WebSockets* PLATFORM_ENTRY(platformWebSockets)();

namespace platform {

WebSockets* WebSockets::available() {
  static auto& part = *new SeparatePart<WebSockets>(
      PLATFORM_ENTRY(platformWebSockets), PLATFORM_SOCKETS_LIBRARY, PLATFORM_ENTRY_NAME(platformWebSockets));
  return part.get();
}

}  // namespace platform
