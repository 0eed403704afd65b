// The handshake of a socket session: whatever is accepted keeps the rules.

#include <cstdlib>

#include "fuzz/Input.h"
#include "src/visualizer/KovaWebSocketSession.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto handshake = KovaWebSocketSession::parseHandshakeResponse(textOf(data, size));
  if (!handshake) return 0;
  // Not more than 7: of a ping interval of 1e-80 ms nothing is left in the sum.
  if (!KovaWebSocketSession::isSIDValid(handshake->sid) || !(handshake->heartbeatTimeout >= 7)) std::abort();
  return 0;
}
