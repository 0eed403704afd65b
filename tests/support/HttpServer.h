#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/LoopbackListener.h"

// A loopback HTTP/1.1 server for tests and benchmarks that answers, stalls, resets and lies as its handlers
// say. A thread a connection; connections are kept alive. All functions may be called from any thread.
class HttpServer : public LoopbackListener {
 public:
  using Field = HttpRequest::Field;
  using Request = HttpRequest;

  // What is done about a request.
  struct Reply {
    int status = 200;
    std::vector<Field> headers;
    std::string body;
    // What Content-Length says when it is not the truth.
    std::optional<std::size_t> announcedLength;

    enum class Ending { keepAlive, close, reset, stall };
    // What follows the last byte.
    Ending ending = Ending::keepAlive;
    // When not 0, the bytes are written in pieces of this size, a pause apart.
    std::size_t pieceSize = 0;
    std::chrono::milliseconds pause{0};
    // Written as they are in place of everything else; with no bytes, only the ending happens.
    std::optional<std::string> raw;

    static Reply text(std::string body, int status = 200);
    static Reply redirect(int status, std::string location);
    // Nothing is ever answered; the connection stays open until the client closes it.
    static Reply stall() { return rawBytes("", Ending::stall); }
    static Reply reset() { return rawBytes("", Ending::reset); }
    static Reply rawBytes(std::string bytes, Ending ending);
  };
  using Handler = std::function<Reply(const Request&)>;

  HttpServer() : HttpServer(nullptr) {}
  explicit HttpServer(const TestCertificate& certificate) : HttpServer(&certificate) {}
  // Closes all connections and waits for their threads.
  ~HttpServer() { stop(); }

  // For requests of that path; all others get an empty 200.
  void handle(const std::string& path, Handler handler);
  // Called after each request has been counted, on a thread of the server. Set it before the first request.
  void setObserver(std::function<void()> observer) { observer_ = std::move(observer); }
  // Requests are kept for requests() unless switched off, as long runs do.
  void keepRequests(bool keep);

  std::size_t requestCount() const;
  Request lastRequest() const;
  // False when it does not come true within 20 seconds.
  bool waitForRequests(std::size_t count) const;

 private:
  explicit HttpServer(const TestCertificate* certificate) : LoopbackListener(certificate) {
    begin([this](ServerConnection& connection) { serve(connection); });
  }
  void serve(ServerConnection& connection);
  Reply replyTo(const Request& request);
  bool send(ServerConnection& connection, const Reply& reply);

  std::function<void()> observer_;
  std::map<std::string, Handler> handlers_;
  std::size_t requestCount_ = 0;
  bool keepsRequests_ = true;
};
