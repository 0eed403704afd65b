#include "platform/simulator/SimulatedScheduler.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <deque>
#include <stdexcept>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/dispatch/NSTimer.h"
#include "platform/dispatch/TimerTable.h"
#include "platform/runtime/Condition.h"
#include "platform/runtime/ScopedFlag.h"

namespace platform {

namespace {

using Owner = std::uint64_t;  // which queue a piece of work belongs to
constexpr Owner kMainLoop = 0;

constexpr int kMostStepsAtOneTime = 1'000'000;
constexpr double kFirstUptime = 1000;
constexpr double kFirstWallClock = 1'767'225'600;  // 2026-01-01 00:00:00 UTC

// Virtual time goes in whole nanoseconds, so that ten steps of 0.1 s meet a timer of 1 s.
double wholeNanoseconds(double seconds) { return std::round(seconds * 1e9) / 1e9; }

}  // namespace

// What the scheduler shares with its queues and the handles of their timers, which may outlive it.
class SimulatedScheduler::Core {
 public:
  struct Waiting {
    Owner owner;
    RunLoopMode mode;
    Work work;
  };
  using Timers = TimerTable<Waiting>;

  // Any thread.

  Owner makeOwner() {
    MutexLock lock(mutex_);
    return ++lastOwner_;
  }

  void add(Owner owner, Work work) {
    MutexLock lock(mutex_);
    queued_.push_back({owner, std::move(work)});
    handedOver_.notifyAll();
  }

  Timers::Key addTimer(double deadline, Waiting waiting) {
    MutexLock lock(mutex_);
    const auto key = timers_.add(wholeNanoseconds(deadline), std::move(waiting));
    handedOver_.notifyAll();
    return key;
  }

  void removeTimer(const Timers::Key& key) {
    std::optional<Waiting> removed;  // released after the lock
    MutexLock lock(mutex_);
    removed = timers_.remove(key);
  }

  void removeTimersOf(Owner owner) {
    std::vector<std::optional<Waiting>> removed;  // released after the lock
    MutexLock lock(mutex_);
    const auto isOfOwner = [owner](const Waiting& waiting) { return waiting.owner == owner; };
    while (const auto key = timers_.first(isOfOwner)) removed.push_back(timers_.remove(*key));
  }

  // Work may hold its own queue and with it the core: nothing is kept past the scheduler.
  void dropEverything() {
    std::deque<Queued> queued;  // released after the lock
    Timers timers;
    MutexLock lock(mutex_);
    queued.swap(queued_);
    std::swap(timers, timers_);
  }

  std::size_t timerCount() const {
    MutexLock lock(mutex_);
    return timers_.entries().size();
  }

  double uptime() const {
    MutexLock lock(mutex_);
    return uptime_;
  }

  double wallClock() const {
    MutexLock lock(mutex_);
    return uptime_ + wallClockAhead_;
  }

  void setWallClock(double now) {
    MutexLock lock(mutex_);
    wallClockAhead_ = now - uptime_;
  }

  bool isRunning(Owner owner) const { return isOwnThread() && running_ == owner; }

  // The scheduler's own thread.

  RunLoopMode mode() const {
    MutexLock lock(mutex_);
    return mode_;
  }

  void setMode(RunLoopMode mode) {
    MutexLock lock(mutex_);
    mode_ = mode == RunLoopMode::Common ? RunLoopMode::Default : mode;
  }

  void runFor(double seconds) {
    if (!isRunning(kMainLoop)) throw std::logic_error("virtual time is moved from the main thread alone");
    if (depth_ == 0) steps_ = 0;
    const ScopedValue nested(depth_, depth_ + 1);
    const double target = wholeNanoseconds(uptime() + seconds);
    do {
      while (runNextQueued()) {
      }
    } while (fireNextTimer(target));
    MutexLock lock(mutex_);
    moveTimeTo(target);
  }

  // Runs what that queue has, and no other, until the end is reached: a caller that waits does nothing else.
  void runQueuedOf(Owner owner, const bool& isEndReached) {
    if (!isRunning(kMainLoop)) throw std::logic_error("a queue is waited for on the main thread alone");
    if (depth_ == 0) steps_ = 0;
    const ScopedValue nested(depth_, depth_ + 1);
    while (!isEndReached) {
      auto next = takeQueuedOf(owner);
      if (!next) return;
      run(owner, *next);
    }
  }

  // False when the time is up.
  bool waitForHandOver(std::chrono::steady_clock::time_point limit) {
    MutexLock lock(mutex_);
    while (queued_.empty() && !nextTimer(uptime_)) {
      if (std::chrono::steady_clock::now() >= limit) return false;
      handedOver_.waitUntil(mutex_, limit);
    }
    return true;
  }

 private:
  struct Queued {
    Owner owner;
    Work work;
  };

  bool isOwnThread() const { return std::this_thread::get_id() == thread_; }

  bool runNextQueued() {
    Queued next;
    {
      MutexLock lock(mutex_);
      if (queued_.empty()) return false;
      next = std::move(queued_.front());
      queued_.pop_front();
    }
    run(next.owner, next.work);
    return true;
  }

  std::optional<Work> takeQueuedOf(Owner owner) {
    MutexLock lock(mutex_);
    const auto next = std::find_if(queued_.begin(), queued_.end(),
                                   [owner](const Queued& queued) { return queued.owner == owner; });
    if (next == queued_.end()) return std::nullopt;
    Work work = std::move(next->work);
    queued_.erase(next);
    return work;
  }

  bool fireNextTimer(double target) {
    std::optional<Waiting> next;
    {
      MutexLock lock(mutex_);
      const auto key = nextTimer(target);
      if (!key) return false;
      next = timers_.remove(*key);
      moveTimeTo(key->deadline);
    }
    run(next->owner, next->work);
    return true;
  }

  void run(Owner owner, const Work& work) {
    if (++steps_ > kMostStepsAtOneTime) {
      throw std::runtime_error(
          "a million pieces of work ran and time did not move: something queues itself for ever");
    }
    const ScopedValue running(running_, owner);
    work();
  }

  std::optional<Timers::Key> nextTimer(double target) const PLATFORM_REQUIRES(mutex_) {
    const RunLoopMode mode = mode_;
    const auto key = timers_.first([mode](const Waiting& waiting) {
      return waiting.mode == mode || waiting.mode == RunLoopMode::Common;
    });
    return key && key->deadline <= target ? key : std::nullopt;
  }

  void moveTimeTo(double uptime) PLATFORM_REQUIRES(mutex_) {
    if (uptime <= uptime_) return;
    uptime_ = uptime;
    steps_ = 0;
  }

  const std::thread::id thread_ = std::this_thread::get_id();
  Owner running_ = kMainLoop;  // own thread only, as are the next two
  int depth_ = 0;              // of nested runs
  int steps_ = 0;              // pieces of work since time last moved

  mutable Mutex mutex_;
  Condition handedOver_;
  std::deque<Queued> queued_ PLATFORM_GUARDED_BY(mutex_);
  Timers timers_ PLATFORM_GUARDED_BY(mutex_);
  Owner lastOwner_ PLATFORM_GUARDED_BY(mutex_) = kMainLoop;
  RunLoopMode mode_ PLATFORM_GUARDED_BY(mutex_) = RunLoopMode::Default;
  double uptime_ PLATFORM_GUARDED_BY(mutex_) = kFirstUptime;
  double wallClockAhead_ PLATFORM_GUARDED_BY(mutex_) = kFirstWallClock - kFirstUptime;
};

class SimulatedScheduler::QueueTimer final : public DispatchTimer {
 public:
  QueueTimer(std::weak_ptr<Core> core, Core::Timers::Key key) : core_(std::move(core)), key_(key) {}

  void cancel() override {
    if (const auto core = core_.lock()) core->removeTimer(key_);
  }

 private:
  const std::weak_ptr<Core> core_;
  const Core::Timers::Key key_;
};

class SimulatedScheduler::Queue final : public DispatchQueue {
 public:
  Queue(std::shared_ptr<Core> core, std::string label, QualityOfService qualityOfService)
      : DispatchQueue(std::move(label), qualityOfService),
        core_(std::move(core)),
        owner_(core_->makeOwner()) {}
  ~Queue() override { core_->removeTimersOf(owner_); }

  void async(Work work) override { core_->add(owner_, std::move(work)); }

  std::shared_ptr<DispatchTimer> after(double seconds, Work work) override {
    const double deadline = core_->uptime() + (seconds > 0 ? seconds : 0);
    const auto key = core_->addTimer(deadline, {owner_, RunLoopMode::Common, std::move(work)});
    return std::make_shared<QueueTimer>(core_, key);
  }

  void waitUntilIdle() override { core_->runQueuedOf(owner_, false); }
  void waitForQueued() override {
    const auto isReached = std::make_shared<bool>(false);
    async([isReached] { *isReached = true; });
    core_->runQueuedOf(owner_, *isReached);
  }
  bool isCurrent() const override { return core_->isRunning(owner_); }

 private:
  const std::shared_ptr<Core> core_;
  const Owner owner_;
};

class SimulatedScheduler::MainLoop final : public RunLoop {
 public:
  explicit MainLoop(std::shared_ptr<Core> core) : core_(std::move(core)) {}
  ~MainLoop() override {
    for (const auto& [timer, key] : keys_) timer->attach(nullptr);
  }

  void perform(Work work) override { core_->add(kMainLoop, std::move(work)); }

  void addTimer(std::shared_ptr<NSTimer> timer, RunLoopMode mode) override {
    if (!timer || !timer->isValid()) return;
    removeTimer(*timer);
    timer->attach(this);
    Work fire = [this, timer, mode] {
      keys_.erase(timer.get());
      RunLoop::fire(timer, mode);
    };
    keys_[timer.get()] = core_->addTimer(timer->fireUptime(), {kMainLoop, mode, std::move(fire)});
  }

  void removeTimer(NSTimer& timer) override {
    const auto found = keys_.find(&timer);
    if (found == keys_.end()) return;
    const auto key = found->second;
    keys_.erase(found);
    core_->removeTimer(key);
  }

  RunLoopMode currentMode() const override { return core_->mode(); }
  void setCurrentMode(RunLoopMode mode) override { core_->setMode(mode); }
  bool isMainThread() const override { return core_->isRunning(kMainLoop); }

 private:
  const std::shared_ptr<Core> core_;
  std::unordered_map<NSTimer*, Core::Timers::Key> keys_;
};

SimulatedScheduler& SimulatedScheduler::installNew() {
  return static_cast<SimulatedScheduler&>(Scheduler::install(std::make_unique<SimulatedScheduler>()));
}

SimulatedScheduler::SimulatedScheduler()
    : core_(std::make_shared<Core>()), mainLoop_(std::make_unique<MainLoop>(core_)) {}

SimulatedScheduler::~SimulatedScheduler() { core_->dropEverything(); }

void SimulatedScheduler::advance(double seconds) { core_->runFor(seconds > 0 ? seconds : 0); }

void SimulatedScheduler::drain() { core_->runFor(0); }

bool SimulatedScheduler::runUntil(const std::function<bool()>& predicate, double realTimeoutSeconds) {
  const auto limit =
      std::chrono::steady_clock::now() +
      std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(realTimeoutSeconds));
  do {
    drain();
    if (predicate()) return true;
  } while (core_->waitForHandOver(limit));
  return predicate();
}

void SimulatedScheduler::setWallClock(NSDate now) { core_->setWallClock(now.timeIntervalSince1970()); }

void SimulatedScheduler::setMainRunLoopMode(RunLoopMode mode) { core_->setMode(mode); }

std::size_t SimulatedScheduler::pendingTimerCount() const { return core_->timerCount(); }

NSDate SimulatedScheduler::now() { return NSDate::withTimeIntervalSince1970(core_->wallClock()); }

double SimulatedScheduler::uptime() { return core_->uptime(); }

std::shared_ptr<DispatchQueue> SimulatedScheduler::makeSerialQueue(std::string label,
                                                                   QualityOfService qualityOfService) {
  return std::make_shared<Queue>(core_, std::move(label), qualityOfService);
}

RunLoop& SimulatedScheduler::mainRunLoop() { return *mainLoop_; }

bool SimulatedScheduler::isMainThread() { return mainLoop_->isMainThread(); }

}  // namespace platform
