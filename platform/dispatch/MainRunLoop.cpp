#include "platform/dispatch/MainRunLoop.h"

#include <algorithm>
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
  timers_.detachAll();
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
  timers_.add(std::move(timer), mode);
  wakeUp();
}

void MainRunLoop::removeTimer(NSTimer& timer) {
  std::optional<LoopTimers::Entry> removed;  // released after the lock
  MutexLock lock(mutex_);
  removed = timers_.remove(timer);
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
    std::optional<LoopTimers::Entry> due;
    {
      MutexLock lock(mutex_);
      if (stopRequested_) return;
      due = timers_.takeDue(mode(), now);
    }
    if (!due) return;
    fire(due->timer, due->mode);
  }
}

bool MainRunLoop::waitForWork(double limit) {
  MutexLock lock(mutex_);
  while (true) {
    if (takeStop()) return false;
    const double now = deviceUptime();
    if (now >= limit) return false;
    if (!queued_.empty()) return true;
    const double deadline = timers_.nextDeadline(mode()).value_or(kForever);
    if (deadline <= now) return true;

    const double wakeAt = std::min(deadline, limit);
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

}  // namespace platform
