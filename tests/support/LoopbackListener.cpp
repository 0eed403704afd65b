#include "tests/support/LoopbackListener.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/http.hpp>
#include <cerrno>
#include <chrono>
#include <stdexcept>

#include "tests/support/TestCertificate.h"

namespace http = boost::beast::http;

namespace {

constexpr std::chrono::milliseconds kPauseWithoutDescriptors{10};
constexpr std::size_t kReadSize = 256u << 10;
constexpr std::size_t kLargestHead = 1u << 20;

int noteProtocols(SSL*, const unsigned char**, unsigned char*, const unsigned char* offered,
                  unsigned int size, void* wasOfferedHTTP2) {
  const std::string_view names(reinterpret_cast<const char*>(offered), size);
  *static_cast<std::atomic<bool>*>(wasOfferedHTTP2) = names.find("\x02h2") != std::string_view::npos;
  return SSL_TLSEXT_ERR_NOACK;
}

}  // namespace

const std::string* HttpRequest::header(std::string_view name) const {
  const auto found = std::find_if(headers.begin(), headers.end(), [&](const Field& field) {
    return boost::beast::iequals(field.first, name);
  });
  return found == headers.end() ? nullptr : &found->second;
}

std::size_t HttpRequest::countOfHeader(std::string_view name) const {
  return static_cast<std::size_t>(std::count_if(headers.begin(), headers.end(), [&](const Field& field) {
    return boost::beast::iequals(field.first, name);
  }));
}

ServerConnection::ServerConnection(int socket, SSL_CTX* context)
    : socket_(socket), tls_(context ? SSL_new(context) : nullptr) {
  if (tls_) SSL_set_fd(tls_, socket_);
}

ServerConnection::~ServerConnection() { SSL_free(tls_); }

bool ServerConnection::handshake() { return !tls_ || SSL_accept(tls_) == 1; }

std::optional<HttpRequest> ServerConnection::readRequest() {
  http::request_parser<http::string_body> parser;
  parser.header_limit(kLargestHead);
  parser.body_limit(boost::none);
  parser.eager(true);
  while (!parser.is_done()) {
    if (buffer_.empty() && !readMore(kReadSize)) return std::nullopt;
    boost::system::error_code error;
    buffer_.erase(0, parser.put(boost::asio::buffer(buffer_), error));
    if (error == http::error::need_more ? !readMore(kReadSize) : error.failed()) return std::nullopt;
  }
  auto& read = parser.get();
  HttpRequest request{
      std::string(read.method_string()), std::string(read.target()), {}, std::move(read.body())};
  for (const auto& field : read) request.headers.emplace_back(field.name_string(), field.value());
  return request;
}

std::optional<std::string> ServerConnection::read(std::size_t size) {
  buffer_.reserve(size);
  while (buffer_.size() < size) {
    if (!readMore(std::min(size - buffer_.size(), kReadSize))) return std::nullopt;
  }
  std::string bytes = buffer_.substr(0, size);
  buffer_.erase(0, size);
  return bytes;
}

bool ServerConnection::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const int size = static_cast<int>(std::min<std::size_t>(bytes.size(), 1u << 20));
    const ssize_t written = tls_
                                ? SSL_write(tls_, bytes.data(), size)
                                : ::send(socket_, bytes.data(), static_cast<std::size_t>(size), MSG_NOSIGNAL);
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

void ServerConnection::waitForClose() {
  while (readMore(kReadSize)) buffer_.clear();
}

void ServerConnection::reset() {
  const linger now{1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

bool ServerConnection::readMore(std::size_t size) {
  const std::size_t before = buffer_.size();
  buffer_.resize(before + size);
  const ssize_t received = tls_ ? SSL_read(tls_, buffer_.data() + before, static_cast<int>(size))
                                : ::recv(socket_, buffer_.data() + before, size, 0);
  buffer_.resize(before + static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
  return received > 0;
}

LoopbackListener::LoopbackListener(const TestCertificate* certificate)
    : tls_(certificate ? SSL_CTX_new(TLS_server_method()) : nullptr, &SSL_CTX_free),
      listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  if (tls_) {
    signal(SIGPIPE, SIG_IGN);
    SSL_CTX_use_certificate(tls_.get(), certificate->certificate());
    SSL_CTX_use_PrivateKey(tls_.get(), certificate->key());
    SSL_CTX_set_alpn_select_cb(tls_.get(), &noteProtocols, &wasOfferedHTTP2_);
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      listen(listener_, SOMAXCONN) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("A server of the tests cannot listen on the loopback");
  }
  port_ = ntohs(address.sin_port);
}

void LoopbackListener::begin(Service service) {
  service_ = std::move(service);
  acceptor_ = std::thread([this] { acceptConnections(); });
}

void LoopbackListener::stop() {
  {
    const std::lock_guard lock(mutex_);
    if (std::exchange(stopping_, true)) return;
    for (const auto& [socket, thread] : threads_) shutdown(socket, SHUT_RDWR);
    changed_.notify_all();
  }
  shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  close(listener_);
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return threads_.empty(); });
  }
  joinEnded();
}

std::string LoopbackListener::url(std::string_view path) const {
  return std::string(tls_ ? "https" : "http") + "://127.0.0.1:" + std::to_string(port_).append(path);
}

std::vector<HttpRequest> LoopbackListener::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::size_t LoopbackListener::connectionCount() const {
  const std::lock_guard lock(mutex_);
  return connectionCount_;
}

bool LoopbackListener::waitForOpenConnections(std::size_t count) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return threads_.size() == count; });
}

void LoopbackListener::acceptConnections() {
  while (true) {
    const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const bool lacksDescriptors = socket < 0 && (errno == EMFILE || errno == ENFILE);
    joinEnded();
    std::unique_lock lock(mutex_);
    if (lacksDescriptors) changed_.wait_for(lock, kPauseWithoutDescriptors, [this] { return stopping_; });
    if (stopping_ || (socket < 0 && !lacksDescriptors)) {
      if (socket >= 0) close(socket);
      return;
    }
    if (lacksDescriptors) continue;
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ++connectionCount_;
    threads_[socket] = std::thread([this, socket] { serve(socket); });
    changed_.notify_all();
  }
}

void LoopbackListener::serve(int socket) {
  {
    ServerConnection connection(socket, tls_.get());
    service_(connection);
  }
  // Under the lock to the end: once the last connection is gone, the listener may be.
  const std::lock_guard lock(mutex_);
  close(socket);
  ended_.push_back(std::move(threads_.at(socket)));
  threads_.erase(socket);
  changed_.notify_all();
}

void LoopbackListener::joinEnded() {
  std::vector<std::thread> ended;
  {
    const std::lock_guard lock(mutex_);
    ended.swap(ended_);
  }
  for (std::thread& thread : ended) thread.join();
}
