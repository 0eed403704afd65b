#pragma once

#include <QObject>
#include <QTimer>
#include <deque>
#include <memory>

#include "platform/dispatch/LoopTimers.h"
#include "platform/dispatch/RunLoop.h"
#include "platform/runtime/Mutex.h"

namespace platform {

// Qt's event loop as the main run loop, nested loops included. Made on the thread of the QCoreApplication,
// and lives as long as the process; once the application object is gone, nothing is run any more.
class QtRunLoop final : public RunLoop {
 public:
  QtRunLoop();

  // Whether there is an application object. Without one nothing is posted to Qt, whose loop may be on its way
  // out; what is performed meanwhile waits for the next.
  void open();
  void close();

  void perform(Work work) override;
  void addTimer(std::shared_ptr<NSTimer> timer, RunLoopMode mode) override;
  void removeTimer(NSTimer& timer) override;
  // Qt tells nobody that something is being dragged.
  RunLoopMode currentMode() const override { return RunLoopMode::Default; }
  bool isMainThread() const override;

 private:
  // One piece an event, so that the others go on in a loop that the piece may start.
  void runNext();
  void post() PLATFORM_REQUIRES(mutex_);
  void arm();
  void runDueTimers();

  const Qt::HANDLE thread_;
  QObject receiver_;
  QTimer alarm_;
  Mutex mutex_;
  std::deque<Work> queued_ PLATFORM_GUARDED_BY(mutex_);
  bool isOpen_ PLATFORM_GUARDED_BY(mutex_) = false;
  // Main thread.
  LoopTimers timers_;
};

}  // namespace platform
