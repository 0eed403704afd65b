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
  timers_.add(std::move(timer), mode);
}

void SDLRunLoop::removeTimer(NSTimer& timer) { timers_.remove(timer); }

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
  while (const auto due = timers_.takeDue(mode_, now)) fire(due->timer, due->mode);
}

void SDLRunLoop::waitForEvents(double limit, const EventHandler& handleEvent) {
  SDL_Event event;
  if (!SDL_WaitEventTimeout(&event, millisecondsToWait(limit))) return;
  do {
    if (event.type != wakeUpEvent_) handleEvent(event);
  } while (SDL_PollEvent(&event));
}

int SDLRunLoop::millisecondsToWait(double limit) const {
  const double wakeAt = std::min(timers_.nextDeadline(mode_).value_or(kForever), limit);
  const double seconds = std::clamp(wakeAt - uptime(), 0.0, kLongestWait);
  return static_cast<int>(std::ceil(seconds * 1000));
}
