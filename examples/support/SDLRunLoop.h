#pragma once

#include <SDL2/SDL_events.h>

#include <deque>
#include <functional>
#include <memory>

#include "platform/dispatch/LoopTimers.h"
#include "platform/dispatch/RunLoop.h"
#include "platform/runtime/Mutex.h"

// SDL's event loop as the main run loop: waits for events of the window, work of other threads and timers,
// all at once. SDL has been initialised before. Lives as long as the process.
class SDLRunLoop final : public platform::RunLoop {
 public:
  using EventHandler = std::function<void(const SDL_Event&)>;
  using TurnHandler = std::function<void()>;

  SDLRunLoop();

  // Until stop(). Main thread. `afterTurn` is called before each wait.
  void run(const EventHandler& handleEvent, const TurnHandler& afterTurn);
  // So many seconds, without a look at what happens in the window.
  void runFor(double seconds);
  void stop() { stopped_ = true; }

  void perform(platform::Work work) override;
  void addTimer(std::shared_ptr<platform::NSTimer> timer, platform::RunLoopMode mode) override;
  void removeTimer(platform::NSTimer& timer) override;
  platform::RunLoopMode currentMode() const override { return mode_; }
  void setCurrentMode(platform::RunLoopMode mode) override { mode_ = mode; }

 private:
  void runQueuedWork();
  void runDueTimers();
  // Handles what comes until something else is due, or until `limit` in seconds of uptime.
  void waitForEvents(double limit, const EventHandler& handleEvent);
  int millisecondsToWait(double limit) const;

  const Uint32 wakeUpEvent_;
  platform::Mutex mutex_;
  std::deque<platform::Work> queued_ PLATFORM_GUARDED_BY(mutex_);
  // Main thread.
  platform::LoopTimers timers_;
  platform::RunLoopMode mode_ = platform::RunLoopMode::Default;
  bool stopped_ = false;
};
