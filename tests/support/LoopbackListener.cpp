#include "tests/support/LoopbackListener.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "tests/support/TestCertificate.h"

namespace {

constexpr std::chrono::milliseconds kPauseWithoutDescriptors{10};

}  // namespace

LoopbackListener::LoopbackListener(const TestCertificate* certificate, Service service)
    : service_(std::move(service)), tls_(certificate ? SSL_CTX_new(TLS_server_method()) : nullptr) {
  if (tls_) {
    signal(SIGPIPE, SIG_IGN);
    SSL_CTX_use_certificate(tls_.get(), certificate->certificate());
    SSL_CTX_use_PrivateKey(tls_.get(), certificate->key());
    SSL_CTX_set_alpn_select_cb(tls_.get(), &noteProtocols, &wasOfferedHTTP2_);
  }
  listen();
}

LoopbackListener::~LoopbackListener() { stop(); }

void LoopbackListener::ContextDeleter::operator()(SSL_CTX* context) const { SSL_CTX_free(context); }

int LoopbackListener::noteProtocols(SSL*, const unsigned char**, unsigned char*, const unsigned char* offered,
                                    unsigned int size, void* wasOfferedHTTP2) {
  const std::string_view names(reinterpret_cast<const char*>(offered), size);
  *static_cast<std::atomic<bool>*>(wasOfferedHTTP2) = names.find("\x02h2") != std::string_view::npos;
  return SSL_TLSEXT_ERR_NOACK;
}

void LoopbackListener::listen() {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      ::listen(listener_, SOMAXCONN) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("A server of the tests cannot listen on the loopback");
  }
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { acceptConnections(); });
}

void LoopbackListener::stop() {
  {
    const std::lock_guard lock(mutex_);
    if (stopping_) return;
    stopping_ = true;
    for (const auto& [socket, thread] : threads_) shutdown(socket, SHUT_RDWR);
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
    if (socket >= 0) begin(socket);
  }
}

void LoopbackListener::begin(int socket) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  ++connectionCount_;
  threads_[socket] = std::thread([this, socket] { serve(socket); });
  changed_.notify_all();
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
