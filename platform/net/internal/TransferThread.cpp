#include "platform/net/internal/TransferThread.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/dispatch/internal/SignalsBlocked.h"
#include "platform/foundation/SystemLog.h"
#include "platform/foundation/internal/OpenSSLUse.h"
#include "platform/net/NSURLError.h"

namespace platform {
namespace {

constexpr long kConnectionsKept = 8;
// Before what failed for want of memory or descriptors is tried again.
constexpr int kMillisecondsOfPause = 200;
constexpr int kURITooLong = 414;

void report(const std::exception& exception) noexcept {
  try {
    NSLog(std::string("A step of the transfer thread failed: ") + exception.what());
  } catch (const std::exception&) {
  }
}

}  // namespace

TransferThread& TransferThread::shared() {
  static TransferThread& thread = *new TransferThread;
  return thread;
}

void TransferThread::start(std::shared_ptr<NSURLSessionDataTask> task) {
  if (post({Command::Kind::start, task})) return;
  HTTPTransfer::fail(*task, NSURLErrorUnknown,
                     "The system gives no thread, or no descriptor, for the transfer.");
}

void TransferThread::cancel(std::shared_ptr<NSURLSessionDataTask> task) {
  post({Command::Kind::cancel, std::move(task)});
}

// False when there is no thread to post to.
bool TransferThread::post(Command command) {
  int asleep = -1;
  {
    MutexLock lock(mutex_);
    if (!launched_ && !launch()) return false;
    // Whoever posted the first of several has woken the thread for all of them.
    if (commands_.empty()) asleep = wakeUp_;
    commands_.push_back(std::move(command));
  }
  if (asleep >= 0) eventfd_write(asleep, 1);
  return true;
}

bool TransferThread::launch() {
  if (wakeUp_ < 0) wakeUp_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeUp_ < 0) return false;
  const SignalsBlocked signalsBlocked;
  try {
    std::thread([this, wakeUp = wakeUp_] { run(wakeUp); }).detach();
  } catch (const std::system_error& error) {
    report(error);
    return false;
  }
  return launched_ = true;
}

void TransferThread::run(int wakeUp) {
  pthread_setname_np(pthread_self(), "NSURLSession");
  while (true) {
    {
      const OpenSSLUse use;
      stepGuarded();
    }
    sleep(wakeUp);
  }
}

// Until there is something to do, or until something may be tried again.
void TransferThread::sleep(int wakeUp) const {
  curl_waitfd alarm{wakeUp, CURL_WAIT_POLLIN, 0};
  const int longest = millisecondsToSleep();
  if (!multi_ || libcurl_->multi_poll(multi_, &alarm, 1, longest, nullptr) != CURLM_OK) {
    pollfd alone{wakeUp, POLLIN, 0};
    ::poll(&alone, 1, multi_ ? kMillisecondsOfPause : longest);
  }
  eventfd_t ignored = 0;
  eventfd_read(wakeUp, &ignored);
}

// Null stays null when there is no memory or descriptor for it; each step tries again.
void TransferThread::makeMulti() {
  if (!libcurl_) libcurl_ = Libcurl::get();
  multi_ = libcurl_ ? libcurl_->multi_init() : nullptr;
  if (multi_) libcurl_->multi_setopt(multi_, CURLMOPT_MAXCONNECTS, kConnectionsKept);
}

// Nothing may leave the thread, or it ends the host. What fails here fails for want of memory or threads.
void TransferThread::stepGuarded() noexcept {
  try {
    step();
    isRoundUnfinished_ = !round_.empty();
  } catch (const std::exception& exception) {
    isRoundUnfinished_ = true;
    report(exception);
  }
}

void TransferThread::step() {
  if (!multi_) makeMulti();
  handleCommands();
  if (!multi_) return;
  int running = 0;
  libcurl_->multi_perform(multi_, &running);
  handleFinished();
  handleTimeouts();
}

void TransferThread::handleCommands() {
  {
    MutexLock lock(mutex_);
    round_.insert(round_.end(), commands_.begin(), commands_.end());
    commands_.clear();
  }
  std::erase_if(round_, [this](Command& command) { return performGuarded(command); });
}

// False when it could not be done; its task is then to be failed in a later round.
bool TransferThread::performGuarded(Command& command) noexcept {
  try {
    perform(command);
    return true;
  } catch (const std::exception& exception) {
    report(exception);
    command.kind = Command::Kind::fail;
    return false;
  }
}

void TransferThread::perform(const Command& command) {
  switch (command.kind) {
    case Command::Kind::start:
      return begin(command.task);
    case Command::Kind::cancel:
      if (const auto transfer = take(*command.task)) transfer->fail(NSURLErrorCancelled);
      return;
    case Command::Kind::fail:
      take(*command.task);
      return HTTPTransfer::fail(*command.task, NSURLErrorUnknown);
  }
}

void TransferThread::begin(const std::shared_ptr<NSURLSessionDataTask>& task) {
  // Its cancellation may have come before it.
  if (task->state() == NSURLSessionTask::State::canceling) {
    return HTTPTransfer::fail(*task, NSURLErrorCancelled);
  }
  if (!multi_) return HTTPTransfer::fail(*task, NSURLErrorUnknown);
  auto transfer = std::make_unique<HTTPTransfer>(*libcurl_, task);
  if (const std::optional<int> code = transfer->refusal()) return transfer->fail(*code);
  if (transfer->isTooLong()) return transfer->answer(kURITooLong);
  if (!transfer->handle()) return transfer->fail(NSURLErrorUnknown);
  CURL* const handle = transfer->handle();
  transfers_.emplace(task.get(), std::move(transfer));
  if (libcurl_->multi_add_handle(multi_, handle) != CURLM_OK) take(*task)->fail(NSURLErrorUnknown);
}

void TransferThread::handleFinished() {
  int left = 0;
  while (const CURLMsg* message = libcurl_->multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    HTTPTransfer* finished = nullptr;
    libcurl_->easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &finished);
    end(finished->task(), [code](HTTPTransfer& transfer) { transfer.finish(code); });
  }
}

void TransferThread::handleTimeouts() {
  const auto now = HTTPTransfer::Clock::now();
  std::vector<std::shared_ptr<NSURLSessionDataTask>> expired;
  for (const auto& [task, transfer] : transfers_) {
    if (transfer->deadline() <= now) expired.push_back(transfer->task());
  }
  for (const auto& task : expired) {
    end(task, [](HTTPTransfer& transfer) { transfer.fail(NSURLErrorTimedOut); });
  }
}

// Ends a transfer in flight. Should that fail, its task is left to a later round.
template <class Verdict>
void TransferThread::end(const std::shared_ptr<NSURLSessionDataTask>& task, Verdict verdict) {
  round_.push_back({Command::Kind::fail, task});
  const auto transfer = take(*task);
  verdict(*transfer);
  round_.pop_back();
}

// Null when the task is not in flight. The transfer is out of libcurl's hands afterwards.
std::unique_ptr<HTTPTransfer> TransferThread::take(const NSURLSessionDataTask& task) {
  auto found = transfers_.extract(&task);
  if (found.empty()) return nullptr;
  libcurl_->multi_remove_handle(multi_, found.mapped()->handle());
  return std::move(found.mapped());
}

int TransferThread::millisecondsToSleep() const {
  if (isRoundUnfinished_) return kMillisecondsOfPause;
  if (transfers_.empty()) return INT_MAX;
  auto next = HTTPTransfer::Clock::time_point::max();
  for (const auto& [task, transfer] : transfers_) next = std::min(next, transfer->deadline());
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - HTTPTransfer::Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

}  // namespace platform
