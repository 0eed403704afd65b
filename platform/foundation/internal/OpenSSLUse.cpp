#include "platform/foundation/internal/OpenSSLUse.h"

#include <openssl/crypto.h>
#include <openssl/ssl.h>
#include <pthread.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

namespace platform {
namespace {

// Longer than the longest step of a TLS connection, which reads all certificates of the system, takes on a
// machine under load.
constexpr std::chrono::seconds kLongestWait{5};

struct Gate {
  std::mutex mutex;
  std::condition_variable emptied;
  int users = 0;
  bool isClosed = false;
  std::thread::id closer;  // goes on when the gate is closed: nobody else runs what comes after
};

Gate& gate() {
  static Gate& instance = *new Gate;
  return instance;
}

// What OpenSSL does first when it takes itself down. By the wall clock, because the thread sanitizer of g++
// 12 does not see waits by the steady one.
void close() {
  std::unique_lock lock(gate().mutex);
  if (std::exchange(gate().isClosed, true)) return;
  gate().closer = std::this_thread::get_id();
  gate().emptied.wait_until(lock, std::chrono::system_clock::now() + kLongestWait,
                            [] { return gate().users == 0; });
}

void prepare() {
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  pthread_atfork([] { gate().mutex.lock(); }, [] { gate().mutex.unlock(); },
                 [] {
                   gate().users = 0;
                   gate().mutex.unlock();
                 });
  OPENSSL_atexit(&close);
}

void enter() {
  std::unique_lock lock(gate().mutex);
  while (gate().isClosed && gate().closer != std::this_thread::get_id()) {
    lock.unlock();
    pause();
    lock.lock();
  }
  ++gate().users;
}

void leave() {
  const std::lock_guard lock(gate().mutex);
  if (--gate().users == 0 && gate().isClosed) gate().emptied.notify_all();
}

// OpenSSL calls first what was registered last: its TLS half registers an end of its own, which must come
// after the wait. A use of its own, so that one that lasts does not begin while OpenSSL goes.
void prepareTLS() {
  enter();
  OPENSSL_init_ssl(OPENSSL_INIT_NO_ATEXIT, nullptr);
  OPENSSL_atexit(&close);
  leave();
}

}  // namespace

void OpenSSLUse::prepareForExit() {
  static std::once_flag prepared;
  std::call_once(prepared, &prepare);
}

OpenSSLUse::OpenSSLUse() {
  static std::once_flag preparedTLS;
  prepareForExit();
  std::call_once(preparedTLS, &prepareTLS);
  enter();
}

OpenSSLUse::~OpenSSLUse() { leave(); }

}  // namespace platform
