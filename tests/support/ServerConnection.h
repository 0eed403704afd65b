#pragma once

#include <openssl/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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
