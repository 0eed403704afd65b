#include "examples/support/SDLRunLoop.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "platform/dispatch/NSTimer.h"
#include "platform/dispatch/Scheduler.h"

using namespace platform;

namespace {

constexpr double kForever = std::numeric_limits<double>::infinity();
constexpr double kLongestWait = 3600;  // seconds; SDL takes milliseconds as an int

double uptime() { return Scheduler::current().uptime(); }

}  // namespace

SDLRunLoop::SDLRunLoop() : wakeUpEvent_(SDL_RegisterEvents(1)) {}

void SDLRunLoop::run(const EventHandler& handleEvent, const TurnHandler& afterTurn) {
  while (!std::exchange(stopped_, false)) {
    runQueuedWork();
    runDueTimers();
    afterTurn();
    waitForEvents(kForever, handleEvent);
  }
}

void SDLRunLoop::runFor(double seconds) {
  const double limit = uptime() + seconds;
  do {
    runQueuedWork();
    runDueTimers();
    waitForEvents(limit, [](const SDL_Event&) {});
  } while (uptime() < limit);
}

// The event that wakes the loop up is pushed for the first piece of work alone: the others find it awake.
void SDLRunLoop::perform(Work work) {
  bool isFirst;
  {
    MutexLock lock(mutex_);
    isFirst = queued_.empty();
    queued_.push_back(std::move(work));
  }
  if (!isFirst) return;
  SDL_Event event{};
  event.type = wakeUpEvent_;
  SDL_PushEvent(&event);
}

void SDLRunLoop::addTimer(std::shared_ptr<NSTimer> timer, RunLoopMode mode) {
  if (!timer || !timer->isValid()) return;
  removeTimer(*timer);
  timer->attach(this);
  const NSTimer* const identity = timer.get();
  const double deadline = timer->fireUptime();
  keys_[identity] = timers_.add(deadline, {std::move(timer), mode});
}

void SDLRunLoop::removeTimer(NSTimer& timer) {
  const auto found = keys_.find(&timer);
  if (found == keys_.end()) return;
  const auto key = found->second;
  keys_.erase(found);
  timers_.remove(key);
}

void SDLRunLoop::runQueuedWork() {
  std::deque<Work> work;
  {
    MutexLock lock(mutex_);
    work.swap(queued_);
  }
  for (const Work& piece : work) piece();
}

void SDLRunLoop::runDueTimers() {
  const double now = uptime();
  for (auto key = nextTimer(); key && key->deadline <= now; key = nextTimer()) {
    const auto entry = timers_.remove(*key);
    keys_.erase(entry->timer.get());
    fire(entry->timer, entry->mode);
  }
}

void SDLRunLoop::waitForEvents(double limit, const EventHandler& handleEvent) {
  SDL_Event event;
  if (!SDL_WaitEventTimeout(&event, millisecondsToWait(limit))) return;
  do {
    if (event.type != wakeUpEvent_) handleEvent(event);
  } while (SDL_PollEvent(&event));
}

int SDLRunLoop::millisecondsToWait(double limit) const {
  const auto timer = nextTimer();
  const double wakeAt = std::min(timer ? timer->deadline : kForever, limit);
  const double seconds = std::clamp(wakeAt - uptime(), 0.0, kLongestWait);
  return static_cast<int>(std::ceil(seconds * 1000));
}

std::optional<SDLRunLoop::Timers::Key> SDLRunLoop::nextTimer() const {
  return timers_.first(
      [this](const Entry& entry) { return entry.mode == mode_ || entry.mode == RunLoopMode::Common; });
}
