#pragma once

#include <QObject>
#include <functional>
#include <utility>

namespace platform {

// Work that is done as soon as the event loop goes on, once however often it was asked for. Main thread only.
class QtLater final {
 public:
  explicit QtLater(std::function<void()> work) : work_(std::move(work)) {}

  void ask();

  // There is another application object: what was asked for before was dropped with the last one.
  static void applicationIsNew() { ++applications_; }

 private:
  static inline int applications_ = 1;

  const std::function<void()> work_;
  QObject receiver_;
  int askedIn_ = 0;  // which of the applications; 0 for none
};

}  // namespace platform
