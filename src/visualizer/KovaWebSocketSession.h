#pragma once

#include <Kova/KovaURLSessionProtocol.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/NSError.h"
#include "platform/foundation/NSURL.h"
#include "platform/net/NSURLRequest.h"
#include "platform/net/NSURLSessionWebSocketTask.h"
#include "platform/runtime/NSObject.h"
#include "src/core/KovaTimer.h"

class KovaWebSocketConnectionDelegate;

// One connection to a socket.io server (engine 4, over a WebSocket alone): opens it, does the engine's
// handshake, joins one namespace, answers pings and watches for their absence. No polling, binary events,
// acknowledgements or reconnecting.
//
//   server                                client
//   0{"sid":…,"pingInterval":ms,…}   →
//                                    ←    40/ios,
//   40/ios,…                         →    connected
//   2                                →
//                                    ←    3
//   42/ios,["name",{…}]              ↔    42/ios,["name",{…}]
//   1                                →    asks the client to leave
//
// Life cycle: made, connected once, disconnected; a new connection is a new session. A session that its
// holder lets go closes its socket, after what it was to send last.
// It may be made and let go anywhere; it calls its delegate on the delegate queue.
//
// What a server may cost: one message is read at a time, and no further one before it has been dealt with.
// What is to be sent to a server that does not read is kept up to kMaximumUnsentBytes; beyond that sending
// fails.
class KovaWebSocketSession : public platform::NSObject {
  NS_OBJECT(KovaWebSocketSession, NSObject)

 public:
  using Headers = std::vector<platform::HTTPHeaderField>;
  enum class AfterSending { Stay, Disconnect };

  static constexpr std::size_t kMaximumUnsentBytes = 64u << 20;

  KovaWebSocketSession(platform::NSURL baseURL, Headers headers, std::string wsNamespace,
                       std::shared_ptr<KISerialStateQueue> delegateQueue);
  ~KovaWebSocketSession() override;

  std::shared_ptr<KovaWebSocketConnectionDelegate> delegate() const KOVA_ON_MUTATION_QUEUE {
    return delegate_.lock();
  }
  void setDelegate(std::weak_ptr<KovaWebSocketConnectionDelegate> delegate) KOVA_ON_MUTATION_QUEUE {
    delegate_ = std::move(delegate);
  }

  void connectWithURLSession(KOVAURLSessionProtocol& urlSession) KOVA_ON_MUTATION_QUEUE;
  void disconnect() KOVA_ON_MUTATION_QUEUE;

  // An event for the namespace: the text of its JSON array.
  void sendText(std::string_view text, AfterSending afterSending) KOVA_ON_MUTATION_QUEUE;
  // One text frame as it is.
  void sendRawMessage(std::string text, AfterSending afterSending) KOVA_ON_MUTATION_QUEUE;
  void sendMessage(platform::NSURLSessionWebSocketMessage message,
                   AfterSending afterSending) KOVA_ON_MUTATION_QUEUE;

  // What every text frame of the server's goes through.
  void handleMessageString(std::string_view frame) KOVA_ON_MUTATION_QUEUE;

  // The address of the socket below a base URL: ws for http, wss for every other scheme. None for a base that
  // nothing can be resolved against.
  static std::optional<platform::NSURL> socketURL(const platform::NSURL& baseURL);

  // What the handshake, "0" and a JSON object, says; none for one that makes no sense.
  struct Handshake {
    std::string sid;
    double heartbeatTimeout;  // seconds
  };
  static std::optional<Handshake> parseHandshakeResponse(std::string_view frame);
  static bool isSIDValid(std::string_view sid);

 private:
  using Delegate = KovaWebSocketConnectionDelegate;
  enum class Message { First, Later };

  void listen(Message which) KOVA_ON_MUTATION_QUEUE;
  void received(const std::optional<platform::NSURLSessionWebSocketMessage>& message,
                const std::optional<platform::NSError>& error, Message which) KOVA_ON_MUTATION_QUEUE;
  void handleListenError(const platform::NSError& error, Message which) KOVA_ON_MUTATION_QUEUE;
  bool configureWithHandshakeResponse(std::string_view frame) KOVA_ON_MUTATION_QUEUE;
  void handleHandshake(std::string_view frame) KOVA_ON_MUTATION_QUEUE;
  void handlePing() KOVA_ON_MUTATION_QUEUE;
  void setTimeout() KOVA_ON_MUTATION_QUEUE;
  void sent(const std::optional<platform::NSError>& error, std::size_t size,
            AfterSending afterSending) KOVA_ON_MUTATION_QUEUE;
  // Calls the delegate, if it is there.
  template <class... Facts, class... Given>
  void tellDelegate(void (KovaWebSocketConnectionDelegate::*event)(KovaWebSocketSession&, Facts...),
                    const Given&... facts) KOVA_ON_MUTATION_QUEUE;
  std::weak_ptr<KovaWebSocketSession> weak();

  std::weak_ptr<KovaWebSocketConnectionDelegate> delegate_ KOVA_OF_MUTATION_QUEUE;
  std::shared_ptr<platform::NSURLSessionWebSocketTask> socketTask_ KOVA_OF_MUTATION_QUEUE;
  const platform::NSURL baseURL_;
  const Headers headers_;
  const std::string endpoint_;  // the namespace
  const std::shared_ptr<KISerialStateQueue> delegateQueue_;
  std::string sid_ KOVA_OF_MUTATION_QUEUE;
  double heartbeatTimeout_ KOVA_OF_MUTATION_QUEUE = 0;  // seconds; 0 before a handshake
  std::shared_ptr<KovaTimer> heartbeatTimer_ KOVA_OF_MUTATION_QUEUE;
  std::size_t unsentBytes_ KOVA_OF_MUTATION_QUEUE = 0;
  bool disconnectsAfterSending_ KOVA_OF_MUTATION_QUEUE = false;
};
