#pragma once

#include <curl/curl.h>

#include <memory>
#include <unordered_map>
#include <vector>

#include "platform/net/NSURLSessionDataTask.h"
#include "platform/net/internal/HTTPTransfer.h"
#include "platform/runtime/Mutex.h"

namespace platform {

// The one thread of the process that moves the bytes of all sessions. It begins with the first task, sets up
// libcurl and TLS itself so that no caller waits for that, and sleeps in the kernel while nothing is in
// flight. It is never joined and its owner never destroyed; when the process exits it is stopped between two
// steps.
class TransferThread {
 public:
  static TransferThread& shared();

  // Any thread; both return at once. A task that no thread can be had for is failed.
  void start(std::shared_ptr<NSURLSessionDataTask> task);
  void cancel(std::shared_ptr<NSURLSessionDataTask> task);

 private:
  struct Command {
    enum class Kind { start, cancel, fail } kind;
    std::shared_ptr<NSURLSessionDataTask> task;
  };

  TransferThread() = default;
  bool post(Command command);
  bool launch() PLATFORM_REQUIRES(mutex_);

  void run(int wakeUp);
  void makeMulti();
  void sleep(int wakeUp) const;
  void stepGuarded() noexcept;
  void step();
  void handleCommands();
  bool performGuarded(Command& command) noexcept;
  void perform(const Command& command);
  void begin(const std::shared_ptr<NSURLSessionDataTask>& task);
  void handleFinished();
  void handleTimeouts();
  template <class Verdict>
  void end(const std::shared_ptr<NSURLSessionDataTask>& task, Verdict verdict);
  std::unique_ptr<HTTPTransfer> take(const NSURLSessionDataTask& task);
  int millisecondsToSleep() const;

  Mutex mutex_;
  bool launched_ PLATFORM_GUARDED_BY(mutex_) = false;
  std::vector<Command> commands_ PLATFORM_GUARDED_BY(mutex_);
  // An eventfd that ends the thread's sleep; there before the thread is, then constant. libcurl has one of
  // its own, but goes without when descriptors are short.
  int wakeUp_ PLATFORM_GUARDED_BY(mutex_) = -1;

  // Of the thread alone.
  const Libcurl* libcurl_ = nullptr;
  CURLM* multi_ = nullptr;  // never without libcurl
  std::unordered_map<const NSURLSessionDataTask*, std::unique_ptr<HTTPTransfer>> transfers_;
  // What this round is about, and what an earlier one could not do.
  std::vector<Command> round_;
  bool isRoundUnfinished_ = false;
};

}  // namespace platform
