#include "platform/net/WebSocketThread.h"

#include <openssl/crypto.h>
#include <pthread.h>
#include <unistd.h>

#include <boost/asio/post.hpp>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <future>
#include <string>
#include <thread>

#include "platform/dispatch/SignalsBlocked.h"
#include "platform/foundation/SystemLog.h"

namespace platform {
namespace {

constexpr std::chrono::milliseconds kLongestWaitAtExit{50};

}  // namespace

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
  // OpenSSL would else free what this thread uses when the process exits. Where it was set up before, by
  // others, its turn comes after this thread has been stopped.
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  std::atexit([] { shared().stop(); });
  while (true) {
    try {
      context_.run();
    } catch (const std::exception& exception) {
      NSLog(std::string("A step of the WebSocket thread failed: ") + exception.what());
    }
  }
}

void WebSocketThread::stop() {
  std::promise<void>& stopped = *new std::promise<void>;
  boost::asio::post(context_, [&stopped] {
    stopped.set_value();
    while (true) pause();
  });
  // By the wall clock, because the thread sanitizer of g++ 12 does not see waits by the steady one.
  stopped.get_future().wait_until(std::chrono::system_clock::now() + kLongestWaitAtExit);
}

}  // namespace platform
