#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/LoopbackListener.h"

// A WebSocket server on the loopback that does what a script tells it, also what no server should do:
//
//   WebSocketServer server([](WebSocketServer::Peer& peer) {
//     peer.accept();
//     peer.sendText("40/ios,");
//     peer.receive();
//     peer.close(1000, "bye");
//   });
//   NSURL::create(server.url("/socko/"));
//
// The script runs once a connection, on a thread of the connection; when it returns, TCP is closed. A script
// that does nothing but peer.waitForEnd() is silence. All functions may be called from any thread.
class WebSocketServer : public LoopbackListener {
 public:
  enum class Opcode : std::uint8_t { continuation = 0, text = 1, binary = 2, close = 8, ping = 9, pong = 10 };
  enum class Part { last, more };

  struct Frame {
    Opcode opcode = Opcode::text;
    Part part = Part::last;
    bool isMasked = false;
    std::string payload;  // unmasked
    // Of a close frame; 0 when it carries none.
    int closeCode() const;
  };

  // One client. Whatever writes answers false once the client is gone.
  class Peer {
   public:
    Peer(WebSocketServer& server, ServerConnection& connection) : server_(server), connection_(connection) {}

    // TLS and the request; accept(), acceptWith() and refuse() do it unless it has been done. None when the
    // client went away before.
    const HttpRequest* readRequest();

    bool accept();
    // 101 with a Sec-WebSocket-Accept of the caller's.
    bool acceptWith(std::string_view acceptKey);
    // An answer of HTTP without a body.
    bool refuse(int status, const std::vector<HttpRequest::Field>& headers = {});

    bool sendText(std::string_view text) { return send(Opcode::text, text); }
    bool send(Opcode opcode, std::string_view payload, Part part = Part::last);
    // A close frame. The client answers it with one of its own.
    bool close(int code, std::string_view reason = {});
    // As they are.
    bool write(std::string_view bytes) { return connection_.write(bytes); }

    // The next frame; none once the client is gone. Texts and binary messages are kept for messages().
    std::optional<Frame> receive();
    // Reads and drops what comes until the client is gone.
    void waitForEnd() { connection_.waitForClose(); }
    // TCP ends with a reset when the script returns.
    void reset() { connection_.reset(); }

   private:
    WebSocketServer& server_;
    ServerConnection& connection_;
    std::optional<HttpRequest> request_;
  };
  using Script = std::function<void(Peer&)>;

  explicit WebSocketServer(Script script, const TestCertificate* certificate = nullptr);
  // Ends all connections and waits for their scripts.
  ~WebSocketServer() { stop(); }

  // Accepts, and sends every message back.
  static void echo(Peer& peer);
  // The bytes of a frame as a server writes it.
  static std::string frame(Opcode opcode, std::string_view payload, Part part = Part::last);

  // "ws://127.0.0.1:8080" (wss with a certificate) and the path.
  std::string url(std::string_view path = "/") const { return "ws" + LoopbackListener::url(path).substr(4); }
  // The payloads of text and binary frames, of all connections, in the order in which scripts received them.
  std::vector<std::string> messages() const;

 private:
  std::vector<std::string> messages_;
};
