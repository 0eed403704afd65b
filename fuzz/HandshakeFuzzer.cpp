// The handshake of a socket session: whatever is accepted keeps the rules.

#include <cstdlib>

#include "fuzz/Input.h"
#include "src/visualizer/KovaWebSocketSession.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto handshake = KovaWebSocketSession::parseHandshakeResponse(textOf(data, size));
  if (!handshake) return 0;
  if (!KovaWebSocketSession::isSIDValid(handshake->sid) || !(handshake->heartbeatTimeout > 7)) std::abort();
  return 0;
}
