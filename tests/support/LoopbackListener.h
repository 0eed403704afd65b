#pragma once

#include <openssl/types.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

class TestCertificate;

// The head of an HTTP request, and its body.
struct HttpRequest {
  using Field = std::pair<std::string, std::string>;

  std::string method;
  std::string target;  // "/h?a=1"
  std::vector<Field> headers;
  std::string body;

  std::string path() const { return target.substr(0, target.find('?')); }
  // Null when there is none.
  const std::string* header(std::string_view name) const;
  std::size_t countOfHeader(std::string_view name) const;
};

// The bytes of one connection on the side of a server, plain or through TLS. Does not own the socket. Of one
// thread.
class ServerConnection {
 public:
  // Without a context, plain.
  ServerConnection(int socket, SSL_CTX* context);
  ~ServerConnection();
  ServerConnection(const ServerConnection&) = delete;
  ServerConnection& operator=(const ServerConnection&) = delete;

  // To be called first; true at once on a plain connection.
  bool handshake();
  // None at the end of the stream or in the middle of something that is no request.
  std::optional<HttpRequest> readRequest();
  // Exactly so many bytes; none when the stream ends before.
  std::optional<std::string> read(std::size_t size);
  bool write(std::string_view bytes);
  // Drops what comes, until the client is gone.
  void waitForClose();
  // The client will see a reset in place of an end.
  void reset();

 private:
  bool readMore(std::size_t size);

  const int socket_;
  SSL* const tls_;
  std::string buffer_;
};

// Takes connections on a free port of 127.0.0.1 and serves each on a thread of its own; a connection is over
// when its service returns. All functions may be called from any thread.
class LoopbackListener {
 public:
  using Service = std::function<void(ServerConnection&)>;

  // For TLS when there is a certificate.
  explicit LoopbackListener(const TestCertificate* certificate = nullptr);
  ~LoopbackListener() { stop(); }
  LoopbackListener(const LoopbackListener&) = delete;
  LoopbackListener& operator=(const LoopbackListener&) = delete;

  // Serves from now on; until then connections wait.
  void begin(Service service);
  // Closes all connections, waits for their threads and takes no more. To be called before what the service
  // uses is gone.
  void stop();

  int port() const { return port_; }
  // "http://127.0.0.1:8080", https where there is a certificate, and the path.
  std::string url(std::string_view path = "") const;
  // By the client of the latest TLS connection; the server takes HTTP/1.1 all the same.
  bool wasOfferedHTTP2() const { return wasOfferedHTTP2_; }
  std::size_t connectionCount() const;
  std::vector<HttpRequest> requests() const;
  // False when it does not come true within 20 seconds.
  bool waitForOpenConnections(std::size_t count) const;

 protected:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  bool stopping_ = false;
  std::vector<HttpRequest> requests_;  // that services have kept

 private:
  void acceptConnections();
  void serve(int socket);
  // To the end of all that OpenSSL does when a thread ends.
  void joinEnded();

  Service service_;
  std::atomic<bool> wasOfferedHTTP2_ = false;
  const std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> tls_;
  int listener_ = -1;
  int port_ = 0;
  std::thread acceptor_;
  std::map<int, std::thread> threads_;  // of the open connections, by socket
  std::vector<std::thread> ended_;
  std::size_t connectionCount_ = 0;
};
