#include "platform/net/TransferThread.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <optional>
#include <thread>
#include <utility>

#include "platform/dispatch/SignalsBlocked.h"
#include "platform/foundation/OpenSSLUse.h"
#include "platform/foundation/SystemLog.h"
#include "platform/net/NSURLError.h"

namespace platform {
namespace {

constexpr long kConnectionsKept = 8;

}  // namespace

TransferThread& TransferThread::shared() {
  static TransferThread& thread = *new TransferThread;
  return thread;
}

void TransferThread::start(std::shared_ptr<NSURLSessionDataTask> task) {
  post({Command::Kind::start, std::move(task)});
}

void TransferThread::cancel(std::shared_ptr<NSURLSessionDataTask> task) {
  post({Command::Kind::cancel, std::move(task)});
}

void TransferThread::post(Command command) {
  CURLM* asleep = nullptr;
  {
    MutexLock lock(mutex_);
    // Whoever posted the first of several has woken the thread for all of them.
    if (commands_.empty()) asleep = wakeable_;
    commands_.push_back(std::move(command));
    if (!launched_) launch();
  }
  if (asleep) curl_multi_wakeup(asleep);
}

void TransferThread::launch() {
  const SignalsBlocked signalsBlocked;
  std::thread([this] { run(); }).detach();
  launched_ = true;
}

void TransferThread::run() {
  pthread_setname_np(pthread_self(), "NSURLSession");
  setUp();
  while (true) {
    {
      const OpenSSLUse use;
      stepGuarded();
    }
    curl_multi_poll(multi_, nullptr, 0, millisecondsToSleep(), nullptr);
  }
}

void TransferThread::setUp() {
  {
    const OpenSSLUse use;
    curl_global_init(CURL_GLOBAL_DEFAULT);
    multi_ = curl_multi_init();
  }
  curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, kConnectionsKept);
  MutexLock lock(mutex_);
  wakeable_ = multi_;
}

// Nothing may leave the thread, or it ends the host. What fails here fails for want of memory or threads; the
// task that was at hand is then not answered.
void TransferThread::stepGuarded() noexcept {
  try {
    step();
  } catch (const std::exception& exception) {
    NSLog(std::string("A step of the transfer thread failed: ") + exception.what());
  }
}

void TransferThread::step() {
  handleCommands();
  int running = 0;
  curl_multi_perform(multi_, &running);
  handleFinished();
  handleTimeouts();
}

void TransferThread::handleCommands() {
  std::vector<Command> commands;
  {
    MutexLock lock(mutex_);
    commands.swap(commands_);
  }
  for (Command& command : commands) {
    if (command.kind == Command::Kind::start) {
      begin(std::move(command.task));
    } else if (const auto transfer = take(*command.task)) {
      transfer->fail(NSURLErrorCancelled);
    }
  }
}

void TransferThread::begin(std::shared_ptr<NSURLSessionDataTask> task) {
  const NSURLSessionDataTask* key = task.get();
  auto transfer = std::make_unique<HTTPTransfer>(std::move(task));
  // Its cancellation may have come before it.
  if (key->state() == NSURLSessionTask::State::canceling) return transfer->fail(NSURLErrorCancelled);
  if (const std::optional<int> code = transfer->refusal()) return transfer->fail(*code);
  if (!transfer->handle() || curl_multi_add_handle(multi_, transfer->handle()) != CURLM_OK) {
    return transfer->fail(NSURLErrorUnknown);
  }
  transfers_.emplace(key, std::move(transfer));
}

void TransferThread::handleFinished() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    HTTPTransfer* finished = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &finished);
    take(finished->task())->finish(code);
  }
}

void TransferThread::handleTimeouts() {
  const auto now = HTTPTransfer::Clock::now();
  std::vector<const NSURLSessionDataTask*> expired;
  for (const auto& [task, transfer] : transfers_) {
    if (transfer->deadline() <= now) expired.push_back(task);
  }
  for (const NSURLSessionDataTask* task : expired) take(*task)->fail(NSURLErrorTimedOut);
}

// Null when the task is not in flight. The transfer is out of libcurl's hands afterwards.
std::unique_ptr<HTTPTransfer> TransferThread::take(const NSURLSessionDataTask& task) {
  auto found = transfers_.extract(&task);
  if (found.empty()) return nullptr;
  curl_multi_remove_handle(multi_, found.mapped()->handle());
  return std::move(found.mapped());
}

int TransferThread::millisecondsToSleep() const {
  if (transfers_.empty()) return INT_MAX;
  auto next = HTTPTransfer::Clock::time_point::max();
  for (const auto& [task, transfer] : transfers_) next = std::min(next, transfer->deadline());
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - HTTPTransfer::Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

}  // namespace platform
