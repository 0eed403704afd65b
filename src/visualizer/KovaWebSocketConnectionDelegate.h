#pragma once

#include <string>
#include <string_view>

#include "platform/foundation/NSError.h"
#include "src/core/Threads.h"

class KovaWebSocketSession;

// Who is told what happens to a socket session, which comes first. Held weakly by the session.
class KovaWebSocketConnectionDelegate {
 public:
  virtual ~KovaWebSocketConnectionDelegate() = default;

  // The server let the session into its namespace.
  virtual void webSocketConnectionDidConnect(KovaWebSocketSession& session) KOVA_ON_MUTATION_QUEUE = 0;
  // An event for the session's namespace: the text of its JSON array.
  virtual void didReceiveMessage(KovaWebSocketSession& session,
                                 std::string_view message) KOVA_ON_MUTATION_QUEUE = 0;

  // The connection did not come about: the server answered the upgrade with another HTTP status than 200, or
  // it failed otherwise, a handshake that makes no sense included.
  virtual void handshakeFailedWithStatusCode(KovaWebSocketSession& session,
                                             long statusCode) KOVA_ON_MUTATION_QUEUE = 0;
  virtual void handshakeFailedWithError(KovaWebSocketSession& session,
                                        const platform::NSError& error) KOVA_ON_MUTATION_QUEUE = 0;

  // The connection ended: with a close frame of the server's, or without one.
  virtual void didCloseWithCode(KovaWebSocketSession& session, long code,
                                const std::string& reason) KOVA_ON_MUTATION_QUEUE = 0;
  virtual void didStopListeningWithError(KovaWebSocketSession& session,
                                         const platform::NSError& error) KOVA_ON_MUTATION_QUEUE = 0;

  // The session stays open.
  virtual void failedToSendWithError(KovaWebSocketSession& session,
                                     const platform::NSError& error) KOVA_ON_MUTATION_QUEUE = 0;
  virtual void webSocketConnectionMissedHeartbeat(KovaWebSocketSession& session) KOVA_ON_MUTATION_QUEUE = 0;
  virtual void webSocketConnectionServerRequestedDisconnect(KovaWebSocketSession& session)
      KOVA_ON_MUTATION_QUEUE = 0;
};
