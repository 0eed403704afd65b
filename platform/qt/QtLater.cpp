#include "platform/qt/QtLater.h"

#include "platform/qt/QtGuard.h"

namespace platform {

void QtLater::ask() {
  if (std::exchange(askedIn_, applications_) == applications_) return;
  QMetaObject::invokeMethod(
      &receiver_,
      [this] {
        askedIn_ = 0;
        guardedFromQt(work_);
      },
      Qt::QueuedConnection);
}

}  // namespace platform
