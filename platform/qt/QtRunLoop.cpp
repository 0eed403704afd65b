#include "platform/qt/QtRunLoop.h"

#include <QCoreApplication>
#include <QThread>
#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/dispatch/NSTimer.h"
#include "platform/dispatch/Scheduler.h"
#include "platform/qt/QtGuard.h"

namespace platform {

namespace {

constexpr double kLongestWait = 3600;  // seconds; Qt takes milliseconds as an int
constexpr RunLoopMode kAnyMode = RunLoopMode::Common;

double uptime() { return Scheduler::current().uptime(); }

}  // namespace

QtRunLoop::QtRunLoop() : thread_(QThread::currentThreadId()) {
  alarm_.setSingleShot(true);
  alarm_.setTimerType(Qt::PreciseTimer);
  QObject::connect(&alarm_, &QTimer::timeout, &receiver_, [this] { runDueTimers(); });
}

bool QtRunLoop::isMainThread() const { return QThread::currentThreadId() == thread_; }

void QtRunLoop::perform(Work work) {
  MutexLock lock(mutex_);
  queued_.push_back(std::move(work));
  post();
}

void QtRunLoop::open() {
  {
    MutexLock lock(mutex_);
    isOpen_ = true;
    if (!queued_.empty()) post();
  }
  arm();
}

void QtRunLoop::close() {
  MutexLock lock(mutex_);
  isOpen_ = false;
}

// Under the lock, so that no thread is in the middle of it when the loop goes.
void QtRunLoop::post() {
  if (!isOpen_) return;
  QMetaObject::invokeMethod(
      &receiver_, [this] { runNext(); }, Qt::QueuedConnection);
}

void QtRunLoop::runNext() {
  Work work;
  {
    MutexLock lock(mutex_);
    if (queued_.empty()) return;
    work = std::move(queued_.front());
    queued_.pop_front();
    // A loop that the work starts finds what is posted from now on; of what was posted before it may know
    // nothing.
    if (!queued_.empty()) post();
  }
  guardedFromQt(work);
}

void QtRunLoop::addTimer(std::shared_ptr<NSTimer> timer, RunLoopMode mode) {
  if (!timer || !timer->isValid()) return;
  removeTimer(*timer);
  timer->attach(this);
  const double deadline = timer->fireUptime();
  timers_.add(std::move(timer), mode);
  if (timers_.nextDeadline(kAnyMode) == deadline) arm();
}

// An alarm that finds nothing due only sets the next one.
void QtRunLoop::removeTimer(NSTimer& timer) { timers_.remove(timer); }

void QtRunLoop::arm() {
  const auto deadline = timers_.nextDeadline(kAnyMode);
  if (!deadline || !QCoreApplication::instance()) return;
  const double seconds = std::clamp(*deadline - uptime(), 0.0, kLongestWait);
  alarm_.start(static_cast<int>(std::ceil(seconds * 1000)));
}

void QtRunLoop::runDueTimers() {
  const double now = uptime();
  while (const auto due = timers_.takeDue(kAnyMode, now)) {
    arm();  // the timer's work may start a loop of its own
    guardedFromQt([&] { fire(due->timer, due->mode); });
  }
  arm();
}

}  // namespace platform
