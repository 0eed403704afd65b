#include "src/core/tracker/KIEVTriggerDetection.h"

#include <Kova/KovaOptions.h>

#include <atomic>
#include <utility>

#include "platform/dispatch/Scheduler.h"
#include "platform/foundation/NSNotificationCenter.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UILongPressGestureRecognizer.h"
#include "platform/uikit/UIWindow.h"
#include "src/core/Guard.h"
#include "src/core/KovaLogger.h"
#include "src/core/tracker/KovaTracker.h"

using namespace platform;

namespace {

constexpr double kAllowableMovement = 20.0;  // points

std::atomic<bool> permanentlyDisabled = false;

std::shared_ptr<KIEVTriggerDetection>& shared() {
  static auto& instance = *new std::shared_ptr<KIEVTriggerDetection>;
  return instance;
}

}  // namespace

void KIEVTriggerDetection::describe(ClassBuilder<KIEVTriggerDetection>& c) {
  c.action("detectTrigger:", &KIEVTriggerDetection::detectTrigger);
}

void KIEVTriggerDetection::startWithOptions(const KovaOptions& options) {
  if (sharedInstance() || isPermanentlyDisabled() || options.disableVisualizerPairingGesture()) return;
  setSharedInstance(create(options));
}

void KIEVTriggerDetection::disableVisualizerPairingGesture() { permanentlyDisabled = true; }

bool KIEVTriggerDetection::isPermanentlyDisabled() { return permanentlyDisabled; }

std::shared_ptr<KIEVTriggerDetection> KIEVTriggerDetection::sharedInstance() { return shared(); }

void KIEVTriggerDetection::setSharedInstance(std::shared_ptr<KIEVTriggerDetection> detection) {
  shared() = std::move(detection);
}

std::shared_ptr<KIEVTriggerDetection> KIEVTriggerDetection::create(const KovaOptions& options) {
  if (options.testOnlyLowThresholdEVTriggerDetection()) return create(2.0, 1, 1.0, RecordDetection::Yes);
  return create(5.0, 4, 20.0, RecordDetection::No);
}

std::shared_ptr<KIEVTriggerDetection> KIEVTriggerDetection::create(double minimumPressDuration,
                                                                   int numberOfTouchesRequired,
                                                                   double cooldownInterval,
                                                                   RecordDetection recordDetection) {
  const std::shared_ptr<KIEVTriggerDetection> detection(new KIEVTriggerDetection(
      minimumPressDuration, numberOfTouchesRequired, cooldownInterval, recordDetection));
  detection->watchWindows();
  return detection;
}

KIEVTriggerDetection::KIEVTriggerDetection(double minimumPressDuration, int numberOfTouchesRequired,
                                           double cooldownInterval, RecordDetection recordDetection)
    : recordDetection_(recordDetection),
      application_(UIApplication::sharedApplication()),
      cooldownInterval_(cooldownInterval),
      minimumPressDuration_(minimumPressDuration),
      numberOfTouchesRequired_(numberOfTouchesRequired) {}

void KIEVTriggerDetection::watchWindows() {
  // Never taken back: the shared detector lives as long as the process.
  NSNotificationCenter::defaultCenter().addObserver(
      UIWindowDidBecomeVisibleNotification,
      [weakSelf = weak_from_this()](const NSNotification& notification) {
        kova::mainThread.isHere();
        if (const auto self = std::static_pointer_cast<KIEVTriggerDetection>(weakSelf.lock())) {
          self->handleNewlyVisibleWindow(notification);
        }
      });
  if (!application_) return;
  for (const auto& window : application_->windows()) instrumentWindow(window);
}

std::shared_ptr<UILongPressGestureRecognizer> KIEVTriggerDetection::newGestureRecognizer() {
  static const SEL action("detectTrigger:");
  auto recognizer = UIGestureRecognizer::create<UILongPressGestureRecognizer>(this, action);
  recognizer->setMinimumPressDuration(minimumPressDuration_);
  recognizer->setNumberOfTouchesRequired(numberOfTouchesRequired_);
  recognizer->setAllowableMovement(kAllowableMovement);
  return recognizer;
}

void KIEVTriggerDetection::instrumentWindow(const std::shared_ptr<UIWindow>& window) {
  if (!window) return;
  KovaLogDebug("KIEVTriggerDetection: Adding gesture recognizer to UIWindow: %@", window);
  window->addGestureRecognizer(newGestureRecognizer());
}

void KIEVTriggerDetection::handleNewlyVisibleWindow(const NSNotification& notification) {
  kova::guarded({*this, "handleNewlyVisibleWindow:"}, [&] {
    kova::mainThread.isHere();
    instrumentWindow(std::dynamic_pointer_cast<UIWindow>(notification.object));
  });
}

bool KIEVTriggerDetection::isCoolingDown() const {
  return Scheduler::current().now().timeIntervalSince(lastTriggeredDate_) < cooldownInterval_;
}

void KIEVTriggerDetection::detectTrigger(UIGestureRecognizer* recognizer) {
  if (!recognizer || recognizer->state() != UIGestureRecognizerState::Began) return;
  kova::guarded({*this, "detectTrigger:"}, [this] {
    kova::mainThread.isHere();
    startPairing();
  });
}

void KIEVTriggerDetection::startPairing() {
  if (isCoolingDown()) {
    KovaLog("Not recognizing EV pairing gesture less than %f seconds after the last one (%@).",
            cooldownInterval_, lastTriggeredDate_);
    return;
  }
  lastTriggeredDate_ = Scheduler::current().now();
  KovaLog("EV pairing gesture triggered; enabling pairing mode.");
  const auto tracker = KovaTracker::sharedTracker();
  if (!tracker) return;
  tracker->startEVPairing();
  if (recordDetection_ == RecordDetection::Yes) {
    tracker->recordCustomEvent("kova.testing.KovaEVTrigger", std::nullopt);
  }
}
