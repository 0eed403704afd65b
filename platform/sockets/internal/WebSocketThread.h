#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include "platform/runtime/Mutex.h"

namespace platform {

// The thread of all WebSockets of the process. It begins with the first task and sleeps in the kernel while
// nothing comes or goes. It is never joined and its owner never destroyed; when the process exits it is
// stopped between two steps.
class WebSocketThread {
 public:
  static WebSocketThread& shared();

  // What is posted before launch() waits for it. Any thread.
  boost::asio::io_context& context() { return context_; }
  // Throws std::system_error when the process may have no further thread; the next call tries again.
  void launch();

 private:
  WebSocketThread() = default;
  void run();
  void runUntilExit();

  boost::asio::io_context context_{1};
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_{context_.get_executor()};
  Mutex mutex_;
  bool launched_ PLATFORM_GUARDED_BY(mutex_) = false;
};

}  // namespace platform
