#include "tests/support/HttpServer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "tests/support/TestCertificate.h"

namespace {

constexpr std::size_t kReadSize = 256u << 10;
constexpr std::size_t kLargestHead = 1u << 20;
constexpr std::chrono::seconds kPatience{20};

const std::string* find(const std::vector<HttpServer::Field>& fields, std::string_view name) {
  for (const auto& [present, value] : fields) {
    if (present.size() == name.size() && strncasecmp(present.data(), name.data(), name.size()) == 0)
      return &value;
  }
  return nullptr;
}

}  // namespace

// The bytes of one connection, plain or through TLS.
class HttpServer::Connection {
 public:
  Connection(int socket, SSL_CTX* context) : socket_(socket), tls_(context ? SSL_new(context) : nullptr) {
    if (tls_) SSL_set_fd(tls_, socket_);
  }
  ~Connection() { SSL_free(tls_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool handshake() { return !tls_ || SSL_accept(tls_) == 1; }

  // None at the end of the stream or in the middle of something that is no request.
  std::optional<Request> readRequest() {
    std::size_t end = std::string::npos;
    while ((end = buffer_.find("\r\n\r\n")) == std::string::npos) {
      if (buffer_.size() > kLargestHead || !readMore(kReadSize)) return std::nullopt;
      if (buffer_[0] < 'A' || buffer_[0] > 'Z') return std::nullopt;
    }
    Request request = parseHead(std::string_view(buffer_).substr(0, end + 2));
    buffer_.erase(0, end + 4);
    const std::string* length = request.header("Content-Length");
    const std::size_t size = length ? std::strtoull(length->c_str(), nullptr, 10) : 0;
    buffer_.reserve(size);
    while (buffer_.size() < size) {
      if (!readMore(std::min(size - buffer_.size(), kReadSize))) return std::nullopt;
    }
    request.body = buffer_.substr(0, size);
    buffer_.erase(0, size);
    return request;
  }

  bool write(std::string_view bytes) {
    while (!bytes.empty()) {
      const int size = static_cast<int>(std::min<std::size_t>(bytes.size(), 1u << 20));
      const ssize_t written =
          tls_ ? SSL_write(tls_, bytes.data(), size)
               : ::send(socket_, bytes.data(), static_cast<std::size_t>(size), MSG_NOSIGNAL);
      if (written <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
  }

  void waitForClose() {
    while (readMore(kReadSize)) buffer_.clear();
  }

  // The client sees a reset in place of an end.
  void reset() {
    const linger now{1, 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
  }

 private:
  bool readMore(std::size_t size) {
    const std::size_t before = buffer_.size();
    buffer_.resize(before + size);
    const ssize_t received = tls_ ? SSL_read(tls_, buffer_.data() + before, static_cast<int>(size))
                                  : ::recv(socket_, buffer_.data() + before, size, 0);
    buffer_.resize(before + static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
    return received > 0;
  }

  static Request parseHead(std::string_view head) {
    Request request;
    bool isFirst = true;
    while (!head.empty()) {
      const std::string_view line = head.substr(0, head.find("\r\n"));
      head.remove_prefix(std::min(head.size(), line.size() + 2));
      if (isFirst) {
        const std::size_t blank = line.find(' ');
        request.method = line.substr(0, blank);
        request.target = line.substr(blank + 1, line.rfind(' ') - blank - 1);
        isFirst = false;
        continue;
      }
      const std::size_t colon = line.find(':');
      std::string_view value = line.substr(std::min(line.size(), colon + 1));
      while (value.starts_with(' ')) value.remove_prefix(1);
      request.headers.emplace_back(line.substr(0, colon), value);
    }
    return request;
  }

  const int socket_;
  SSL* const tls_;
  std::string buffer_;
};

const std::string* HttpServer::Request::header(std::string_view name) const { return find(headers, name); }

std::size_t HttpServer::Request::countOfHeader(std::string_view name) const {
  return static_cast<std::size_t>(std::count_if(
      headers.begin(), headers.end(), [&](const Field& field) { return find({field}, name) != nullptr; }));
}

HttpServer::Reply HttpServer::Reply::text(std::string body, int status) {
  Reply reply;
  reply.status = status;
  reply.body = std::move(body);
  return reply;
}

HttpServer::Reply HttpServer::Reply::rawBytes(std::string bytes, Ending ending) {
  Reply reply;
  reply.raw = std::move(bytes);
  reply.ending = ending;
  return reply;
}

HttpServer::Reply HttpServer::Reply::redirect(int status, std::string location) {
  Reply reply = text("moved", status);
  reply.headers.emplace_back("Location", std::move(location));
  return reply;
}

HttpServer::HttpServer() { listen(); }

HttpServer::HttpServer(const TestCertificate& certificate) : tls_(SSL_CTX_new(TLS_server_method())) {
  signal(SIGPIPE, SIG_IGN);
  SSL_CTX_use_certificate(tls_.get(), certificate.certificate());
  SSL_CTX_use_PrivateKey(tls_.get(), certificate.key());
  listen();
}

HttpServer::~HttpServer() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    changed_.notify_all();
    for (const int socket : sockets_) shutdown(socket, SHUT_RDWR);
  }
  shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  close(listener_);
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return sockets_.empty(); });
}

void HttpServer::ContextDeleter::operator()(SSL_CTX* context) const { SSL_CTX_free(context); }

void HttpServer::listen() {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      ::listen(listener_, SOMAXCONN) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("HttpServer cannot listen on the loopback");
  }
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { acceptConnections(); });
}

std::string HttpServer::url(std::string_view path) const {
  return std::string(tls_ ? "https" : "http") + "://127.0.0.1:" + std::to_string(port_) + std::string(path);
}

void HttpServer::handle(const std::string& path, Handler handler) {
  const std::lock_guard lock(mutex_);
  handlers_[path] = std::move(handler);
}

void HttpServer::closeConnectionsAfter(std::size_t requests) {
  const std::lock_guard lock(mutex_);
  requestsPerConnection_ = requests;
}

void HttpServer::keepRequests(bool keep) {
  const std::lock_guard lock(mutex_);
  keepsRequests_ = keep;
}

std::size_t HttpServer::connectionCount() const {
  const std::lock_guard lock(mutex_);
  return connectionCount_;
}

std::size_t HttpServer::openConnectionCount() const {
  const std::lock_guard lock(mutex_);
  return sockets_.size();
}

std::size_t HttpServer::requestCount() const {
  const std::lock_guard lock(mutex_);
  return requestCount_;
}

std::vector<HttpServer::Request> HttpServer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

HttpServer::Request HttpServer::lastRequest() const {
  const std::lock_guard lock(mutex_);
  if (requests_.empty()) throw std::logic_error("HttpServer has kept no request");
  return requests_.back();
}

bool HttpServer::waitForRequests(std::size_t count) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, kPatience, [&] { return requestCount_ >= count; });
}

bool HttpServer::waitForOpenConnections(std::size_t count) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, kPatience, [&] { return sockets_.size() == count; });
}

void HttpServer::acceptConnections() {
  while (true) {
    const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const std::lock_guard lock(mutex_);
    if (socket < 0 || stopping_) {
      if (socket >= 0) close(socket);
      return;
    }
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ++connectionCount_;
    sockets_.insert(socket);
    std::thread([this, socket] { serve(socket); }).detach();
  }
}

void HttpServer::serve(int socket) {
  {
    Connection connection(socket, tls_.get());
    if (connection.handshake()) serveRequests(connection);
  }
  // Under the lock to the end: once the last socket is gone, the server may be.
  const std::lock_guard lock(mutex_);
  close(socket);
  sockets_.erase(socket);
  changed_.notify_all();
}

void HttpServer::serveRequests(Connection& connection) {
  std::size_t served = 0;
  while (std::optional<Request> request = connection.readRequest()) {
    Reply reply = replyTo(*request);
    bool closes = false;
    {
      const std::lock_guard lock(mutex_);
      ++requestCount_;
      closes = ++served >= requestsPerConnection_;
      if (keepsRequests_) requests_.push_back(std::move(*request));
      changed_.notify_all();
    }
    if (observer_) observer_();
    if (!send(connection, reply, closes)) return;
    if (reply.ending == Reply::Ending::stall) return connection.waitForClose();
    if (reply.ending == Reply::Ending::reset) return connection.reset();
    if (closes || reply.ending == Reply::Ending::close) return;
  }
}

bool HttpServer::send(Connection& connection, const Reply& reply, bool closes) {
  std::string bytes;
  if (reply.raw) {
    bytes = *reply.raw;
  } else {
    bytes = "HTTP/1.1 " + std::to_string(reply.status) + " Status\r\n";
    for (const auto& [name, value] : reply.headers) bytes += name + ": " + value + "\r\n";
    if (closes) bytes += "Connection: close\r\n";
    bytes +=
        "Content-Length: " + std::to_string(reply.announcedLength.value_or(reply.body.size())) + "\r\n\r\n";
    bytes += reply.body;
  }
  if (reply.pieceSize == 0) return connection.write(bytes);

  for (std::size_t at = 0; at < bytes.size(); at += reply.pieceSize) {
    if (!connection.write(std::string_view(bytes).substr(at, reply.pieceSize))) return false;
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, reply.pause, [this] { return stopping_; });
  }
  return true;
}

HttpServer::Reply HttpServer::replyTo(const Request& request) {
  Handler handler;
  {
    const std::lock_guard lock(mutex_);
    const auto found = handlers_.find(request.path());
    if (found != handlers_.end()) handler = found->second;
  }
  return handler ? handler(request) : Reply::text("");
}
