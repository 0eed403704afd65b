#include "platform/dispatch/MainRunLoop.h"

#include <limits>
#include <thread>
#include <utility>

#include "platform/dispatch/NSTimer.h"
#include "platform/dispatch/internal/SignalsBlocked.h"
#include "platform/dispatch/internal/Uptime.h"

namespace platform {

namespace {
constexpr double kForever = std::numeric_limits<double>::infinity();

// Whether the caller is the thread of the loop that has one.
thread_local bool isLoopThread = false;

double wallClock() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}
}  // namespace

MainRunLoop::~MainRunLoop() {
  MutexLock lock(mutex_);
  for (const auto& [key, entry] : timers_.entries()) entry.timer->attach(nullptr);
}

void MainRunLoop::run() { runUntilUptime(RunLoopMode::Default, kForever); }

void MainRunLoop::runOnThreadOfItsOwn() {
  hasThread_ = true;
  const SignalsBlocked blocked;
  std::thread([this] {
    isLoopThread = true;
    while (true) run();
  }).detach();
}

bool MainRunLoop::isMainThread() const { return hasThread_ ? isLoopThread : RunLoop::isMainThread(); }

void MainRunLoop::runUntil(NSDate limit) { runFor(limit.timeIntervalSince1970() - wallClock()); }

void MainRunLoop::runFor(double seconds) { runMode(RunLoopMode::Default, seconds); }

void MainRunLoop::runMode(RunLoopMode mode, double seconds) {
  runUntilUptime(mode, deviceUptime() + validDelay(seconds));
}

void MainRunLoop::stop() {
  MutexLock lock(mutex_);
  stopRequested_ = true;
  wakeUp();
}

void MainRunLoop::perform(Work work) {
  MutexLock lock(mutex_);
  queued_.push_back(std::move(work));
  wakeUp();
}

void MainRunLoop::addTimer(std::shared_ptr<NSTimer> timer, RunLoopMode mode) {
  if (!timer || !timer->isValid()) return;
  removeTimer(*timer);
  timer->attach(this);
  MutexLock lock(mutex_);
  const NSTimer* const identity = timer.get();
  const double deadline = timer->fireUptime();
  keys_[identity] = timers_.add(deadline, Entry{std::move(timer), mode});
  wakeUp();
}

void MainRunLoop::removeTimer(NSTimer& timer) {
  std::optional<Entry> removed;  // released after the lock
  MutexLock lock(mutex_);
  const auto found = keys_.find(&timer);
  if (found == keys_.end()) return;
  removed = timers_.remove(found->second);
  keys_.erase(found);
}

RunLoopMode MainRunLoop::currentMode() const {
  MutexLock lock(mutex_);
  return mode();
}

void MainRunLoop::setCurrentMode(RunLoopMode mode) {
  MutexLock lock(mutex_);
  tracking_ = mode == RunLoopMode::Tracking;
}

void MainRunLoop::wakeUp() {
  if (std::exchange(asleep_, false)) wake_.notifyOne();
}

// What a run asks for, until it ends, by an exception of its work too.
class MainRunLoop::RunningIn {
 public:
  RunningIn(MainRunLoop& loop, RunLoopMode mode) : loop_(loop), outerMode_(loop.exchangeRunMode(mode)) {}
  ~RunningIn() { loop_.exchangeRunMode(outerMode_); }
  RunningIn(const RunningIn&) = delete;
  RunningIn& operator=(const RunningIn&) = delete;

 private:
  MainRunLoop& loop_;
  const RunLoopMode outerMode_;
};

RunLoopMode MainRunLoop::exchangeRunMode(RunLoopMode mode) {
  MutexLock lock(mutex_);
  return std::exchange(runMode_, mode);
}

void MainRunLoop::runUntilUptime(RunLoopMode mode, double limit) {
  const RunningIn runningIn(*this, mode == RunLoopMode::Common ? RunLoopMode::Default : mode);
  do {
    runQueuedWork();
    runDueTimers();
  } while (waitForWork(limit));
}

// Work that was queued when the turn began. It is taken out piece by piece, so that a nested run goes on
// where the outer one stopped.
void MainRunLoop::runQueuedWork() {
  std::size_t left;
  {
    MutexLock lock(mutex_);
    left = queued_.size();
  }
  for (; left > 0; --left) {
    Work work;
    {
      MutexLock lock(mutex_);
      if (stopRequested_ || queued_.empty()) return;
      work = std::move(queued_.front());
      queued_.pop_front();
    }
    work();
  }
}

// Timers that were due when the turn began: one that is set by the work of another waits for the next turn.
void MainRunLoop::runDueTimers() {
  const double now = deviceUptime();
  while (true) {
    std::optional<Entry> entry;
    {
      MutexLock lock(mutex_);
      const auto key = nextTimer();
      if (stopRequested_ || !key || key->deadline > now) return;
      entry = timers_.remove(*key);
      keys_.erase(entry->timer.get());
    }
    fire(entry->timer, entry->mode);
  }
}

bool MainRunLoop::waitForWork(double limit) {
  MutexLock lock(mutex_);
  while (true) {
    if (takeStop()) return false;
    const double now = deviceUptime();
    if (now >= limit) return false;
    if (!queued_.empty()) return true;
    const auto timer = nextTimer();
    if (timer && timer->deadline <= now) return true;

    const double wakeAt = timer ? std::min(timer->deadline, limit) : limit;
    asleep_ = true;
    if (wakeAt == kForever) {
      wake_.wait(mutex_);
    } else {
      wake_.waitUntil(mutex_, deviceTimePoint(wakeAt));
    }
    asleep_ = false;
  }
}

bool MainRunLoop::takeStop() { return std::exchange(stopRequested_, false); }

std::optional<MainRunLoop::Timers::Key> MainRunLoop::nextTimer() const {
  const RunLoopMode current = mode();
  return timers_.first(
      [current](const Entry& entry) { return entry.mode == current || entry.mode == RunLoopMode::Common; });
}

}  // namespace platform
