#include "platform/dispatch/internal/SerialWorker.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <array>
#include <new>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/dispatch/internal/SignalsBlocked.h"
#include "platform/dispatch/internal/Uptime.h"

namespace platform {

namespace {

thread_local const SerialWorker* currentWorker = nullptr;

// A batch larger than this gives back its bookkeeping too, not only its works.
constexpr std::size_t kLargeBatch = 1024;

constexpr double kRest = 0.002;  // seconds
constexpr int kRests = 10;

// The system takes 15 characters; the end of a reverse-domain label tells more than its beginning.
// It must not need memory: nothing could be done about a want of it here.
void nameThread(std::string_view label) {
  constexpr std::size_t kLongestName = 15;
  if (label.size() > kLongestName) label.remove_prefix(label.rfind('.') + 1);
  std::array<char, kLongestName + 1> name{};
  label.copy(name.data(), kLongestName);
  pthread_setname_np(pthread_self(), name.data());
}

// Keeps the thread from taking the processor of whoever gives it work, as the system lets a thread do that
// has slept. A real-time class that it inherited goes, too.
void stepBack() {
  const sched_param none{};
  sched_setscheduler(0, SCHED_BATCH, &none);
}

}  // namespace

void SerialWorker::add(Work work) {
  bool wake;
  {
    MutexLock lock(mutex_);
    startIfNeeded();
    queued_.push_back(std::move(work));
    wake = takeWait();
  }
  if (wake) wake_.notifyOne();
}

void SerialWorker::addSoon(Work work) {
  bool wake;
  {
    MutexLock lock(mutex_);
    startIfNeeded();
    queued_.push_back(std::move(work));
    restsLeft_ = kRests;
    wake = wait_ == Wait::Sleep && takeWait();
  }
  if (wake) wake_.notifyOne();
}

void SerialWorker::addLazily(Work work) {
  MutexLock lock(mutex_);
  startIfNeeded();
  queued_.push_back(std::move(work));
}

SerialWorker::Timers::Key SerialWorker::addTimer(double deadline, Work work) {
  Timers::Key key;
  bool wake;
  {
    MutexLock lock(mutex_);
    startIfNeeded();
    key = timers_.add(deadline, std::move(work));
    wake = *timers_.first() == key && takeWait();
  }
  if (wake) wake_.notifyOne();
  return key;
}

void SerialWorker::removeTimer(const Timers::Key& key) {
  std::optional<Work> removed;  // released after the lock
  MutexLock lock(mutex_);
  removed = timers_.remove(key);
}

void SerialWorker::close() {
  Timers dropped;  // released after the lock
  MutexLock lock(mutex_);
  closed_ = true;
  std::swap(dropped, timers_);
  if (takeWait()) wake_.notifyOne();
}

void SerialWorker::waitUntilIdle() {
  MutexLock lock(mutex_);
  ++idleWaiters_;
  if (!queued_.empty() && takeWait()) wake_.notifyOne();  // what was added lazily
  while (busy_ || !queued_.empty()) idle_.wait(mutex_);
  --idleWaiters_;
}

bool SerialWorker::isCurrent() const { return currentWorker == this; }

void SerialWorker::startIfNeeded() {
  if (started_) return;
  const SignalsBlocked signalsBlocked;
  std::thread([self = shared_from_this()] { self->runOnThread(); }).detach();
  started_ = true;
}

bool SerialWorker::takeWait() { return std::exchange(wait_, Wait::None) != Wait::None; }

void SerialWorker::runOnThread() noexcept {
  currentWorker = this;
  nameThread(label_);
  if (qualityOfService_ == QualityOfService::Background) stepBack();
  while (waitForWork()) {
    const bool large = batch_.size() > kLargeBatch;
    while (!batch_.empty()) {
      batch_.front()();
      batch_.pop_front();
    }
    if (large) letGoOfMemory();
    runDueTimers();
  }
}

// An empty deque takes memory too; without any the large one stays until the next time.
void SerialWorker::letGoOfMemory() noexcept {
  try {
    std::deque<Work>().swap(batch_);
  } catch (const std::bad_alloc&) {
  }
}

bool SerialWorker::waitForWork() {
  MutexLock lock(mutex_);
  while (true) {
    busy_ = true;
    if (!queued_.empty()) {
      batch_.swap(queued_);
      return true;
    }
    const auto timer = timers_.first();
    if (!closed_ && timer && timer->deadline <= deviceUptime()) return true;

    busy_ = false;
    if (idleWaiters_ > 0) idle_.notifyAll();
    if (closed_) return false;

    wait(timer ? std::optional(timer->deadline) : std::nullopt);
  }
}

void SerialWorker::wait(std::optional<double> timerDeadline) {
  auto deadline = timerDeadline;
  wait_ = Wait::Sleep;
  if (restsLeft_ > 0) {
    --restsLeft_;
    wait_ = Wait::Rest;
    const double end = deviceUptime() + kRest;
    deadline = std::min(end, timerDeadline.value_or(end));
  }
  if (deadline) {
    wake_.waitUntil(mutex_, deviceTimePoint(*deadline));
  } else {
    wake_.wait(mutex_);
  }
  wait_ = Wait::None;
}

// Timers that were due when the batch before them had run. Each is taken when its turn comes, so that one can
// still cancel the next.
void SerialWorker::runDueTimers() {
  const double now = deviceUptime();
  while (true) {
    std::optional<Work> work;
    {
      MutexLock lock(mutex_);
      const auto key = timers_.first();
      if (!key || key->deadline > now) return;
      work = timers_.remove(*key);
    }
    (*work)();
  }
}

}  // namespace platform
