#pragma once

#include <openssl/types.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/support/ServerConnection.h"

class TestCertificate;

// Takes connections on a free port of 127.0.0.1 and serves each on a thread of its own; a connection is over
// when its service returns. All functions may be called from any thread.
class LoopbackListener {
 public:
  using Service = std::function<void(ServerConnection&)>;

  // Serves from now on; for TLS when there is a certificate.
  LoopbackListener(const TestCertificate* certificate, Service service);
  ~LoopbackListener();
  LoopbackListener(const LoopbackListener&) = delete;
  LoopbackListener& operator=(const LoopbackListener&) = delete;

  int port() const { return port_; }
  bool isSecure() const { return tls_ != nullptr; }
  // By the client of the latest TLS connection; the server takes HTTP/1.1 all the same.
  bool wasOfferedHTTP2() const { return wasOfferedHTTP2_; }

  // Closes all connections, waits for their threads and takes no more.
  void stop();

  std::size_t connectionCount() const;
  // False when it does not come true within 20 seconds.
  bool waitForOpenConnections(std::size_t count) const;

 private:
  struct ContextDeleter {
    void operator()(SSL_CTX* context) const;
  };

  static int noteProtocols(SSL*, const unsigned char**, unsigned char*, const unsigned char* offered,
                           unsigned int size, void* wasOfferedHTTP2);
  void listen();
  void acceptConnections();
  void begin(int socket);
  void serve(int socket);
  // To the end of all that OpenSSL does when a thread ends.
  void joinEnded();

  const Service service_;
  std::atomic<bool> wasOfferedHTTP2_ = false;
  std::unique_ptr<SSL_CTX, ContextDeleter> tls_;
  int listener_ = -1;
  int port_ = 0;
  std::thread acceptor_;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::map<int, std::thread> threads_;  // of the open connections, by socket
  std::vector<std::thread> ended_;
  std::size_t connectionCount_ = 0;
  bool stopping_ = false;
};
