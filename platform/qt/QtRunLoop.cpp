#include "platform/qt/QtRunLoop.h"

#include <QThread>
#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/dispatch/NSTimer.h"
#include "platform/dispatch/Scheduler.h"

namespace platform {

namespace {

constexpr double kLongestWait = 3600;  // seconds; Qt takes milliseconds as an int

double uptime() { return Scheduler::current().uptime(); }

}  // namespace

QtRunLoop::QtRunLoop() : thread_(QThread::currentThreadId()) {
  alarm_.setSingleShot(true);
  alarm_.setTimerType(Qt::PreciseTimer);
  QObject::connect(&alarm_, &QTimer::timeout, &receiver_, [this] { runDueTimers(); });
}

bool QtRunLoop::isMainThread() const { return QThread::currentThreadId() == thread_; }

void QtRunLoop::perform(Work work) {
  {
    MutexLock lock(mutex_);
    queued_.push_back(std::move(work));
  }
  post();
}

void QtRunLoop::post() {
  QMetaObject::invokeMethod(
      &receiver_, [this] { runNext(); }, Qt::QueuedConnection);
}

void QtRunLoop::runNext() {
  Work work;
  bool isMoreQueued;
  {
    MutexLock lock(mutex_);
    if (queued_.empty()) return;
    work = std::move(queued_.front());
    queued_.pop_front();
    isMoreQueued = !queued_.empty();
  }
  // A loop that the work starts finds what is posted from now on; of what was posted before it may know
  // nothing.
  if (isMoreQueued) post();
  work();
}

void QtRunLoop::addTimer(std::shared_ptr<NSTimer> timer, RunLoopMode mode) {
  if (!timer || !timer->isValid()) return;
  removeTimer(*timer);
  timer->attach(this);
  const NSTimer* const identity = timer.get();
  const double deadline = timer->fireUptime();
  keys_[identity] = timers_.add(deadline, {std::move(timer), mode});
  if (timers_.first()->deadline == deadline) arm();
}

// An alarm that finds nothing due only sets the next one.
void QtRunLoop::removeTimer(NSTimer& timer) {
  const auto found = keys_.find(&timer);
  if (found == keys_.end()) return;
  const auto key = found->second;
  keys_.erase(found);
  timers_.remove(key);
}

void QtRunLoop::arm() {
  const auto next = timers_.first();
  if (!next) return;
  const double seconds = std::clamp(next->deadline - uptime(), 0.0, kLongestWait);
  alarm_.start(static_cast<int>(std::ceil(seconds * 1000)));
}

void QtRunLoop::runDueTimers() {
  const double now = uptime();
  for (auto key = timers_.first(); key && key->deadline <= now; key = timers_.first()) {
    const auto entry = timers_.remove(*key);
    keys_.erase(entry->timer.get());
    arm();  // the timer's work may start a loop of its own
    fire(entry->timer, entry->mode);
  }
  arm();
}

}  // namespace platform
