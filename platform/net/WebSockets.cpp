#include "platform/net/WebSockets.h"

#include "platform/foundation/SeparatePart.h"

#ifndef PLATFORM_SOCKETS_LIBRARY  // of static libraries
#define PLATFORM_SOCKETS_LIBRARY nullptr
#endif

// Programs that have the part linked in define it.
extern "C" __attribute__((weak)) platform::WebSockets* platformWebSockets();

namespace platform {

WebSockets* WebSockets::available() {
  static auto& part =
      *new SeparatePart<WebSockets>(platformWebSockets, PLATFORM_SOCKETS_LIBRARY, "platformWebSockets");
  return part.get();
}

}  // namespace platform
