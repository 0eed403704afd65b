#pragma once

#include <curl/curl.h>

#include <memory>
#include <unordered_map>
#include <vector>

#include "platform/net/HTTPTransfer.h"
#include "platform/net/NSURLSessionDataTask.h"
#include "platform/runtime/Mutex.h"

namespace platform {

// The one thread of the process that moves the bytes of all sessions. It begins with the first task, sets up
// libcurl and TLS itself so that no caller waits for that, and sleeps in the kernel while nothing is in
// flight. It is never joined and its owner never destroyed; when the process exits it is stopped between two
// steps.
class TransferThread {
 public:
  static TransferThread& shared();

  // Any thread; both return at once.
  void start(std::shared_ptr<NSURLSessionDataTask> task);
  void cancel(std::shared_ptr<NSURLSessionDataTask> task);

 private:
  struct Command {
    enum class Kind { start, cancel } kind;
    std::shared_ptr<NSURLSessionDataTask> task;
  };

  TransferThread() = default;
  void post(Command command);
  void launch() PLATFORM_REQUIRES(mutex_);

  void run();
  void setUp();
  void stepGuarded() noexcept;
  void step();
  void handleCommands();
  void begin(std::shared_ptr<NSURLSessionDataTask> task);
  void handleFinished();
  void handleTimeouts();
  std::unique_ptr<HTTPTransfer> take(const NSURLSessionDataTask& task);
  int millisecondsToSleep() const;

  Mutex mutex_;
  bool launched_ PLATFORM_GUARDED_BY(mutex_) = false;
  std::vector<Command> commands_ PLATFORM_GUARDED_BY(mutex_);
  // Null until the thread has set it up; then constant.
  CURLM* wakeable_ PLATFORM_GUARDED_BY(mutex_) = nullptr;

  // Of the thread alone.
  CURLM* multi_ = nullptr;
  std::unordered_map<const NSURLSessionDataTask*, std::unique_ptr<HTTPTransfer>> transfers_;
};

}  // namespace platform
