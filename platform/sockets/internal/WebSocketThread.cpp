#include "platform/sockets/internal/WebSocketThread.h"

#include <openssl/crypto.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <string>
#include <thread>

#include "platform/dispatch/internal/SignalsBlocked.h"
#include "platform/foundation/SystemLog.h"
#include "platform/foundation/internal/OpenSSLUse.h"

namespace platform {

WebSocketThread& WebSocketThread::shared() {
  static WebSocketThread& thread = *new WebSocketThread;
  return thread;
}

void WebSocketThread::launch() {
  MutexLock lock(mutex_);
  if (launched_) return;
  const SignalsBlocked signalsBlocked;
  std::thread([this] { run(); }).detach();
  launched_ = true;
}

void WebSocketThread::run() {
  pthread_setname_np(pthread_self(), "NSURLSession.ws");
  runUntilExit();
  // What OpenSSL does when a thread ends must not be done now.
  while (true) pause();
}

void WebSocketThread::runUntilExit() {
  const OpenSSLUse use;
  // OpenSSL, when it takes itself down, asks for this before it waits for the end of the use. A forked child
  // has no such thread, but perhaps a lock that the thread held.
  static const pid_t process = getpid();
  const auto stop = [] {
    if (getpid() == process) shared().context_.stop();
  };
  std::atexit(stop);
  OPENSSL_atexit(stop);
  while (!context_.stopped()) {
    try {
      context_.run();
    } catch (const std::exception& exception) {
      NSLog(std::string("A step of the WebSocket thread failed: ") + exception.what());
    }
  }
}

}  // namespace platform
