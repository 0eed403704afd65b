#pragma once

#include <memory>

#include "platform/foundation/NSDate.h"
#include "platform/runtime/NSObject.h"
#include "src/core/Threads.h"

class KovaOptions;
namespace platform {
class UIApplication;
class UIGestureRecognizer;
class UILongPressGestureRecognizer;
class UIWindow;
struct NSNotification;
}  // namespace platform

// Watches every window of the app for the hidden gesture that starts pairing: a long press with several
// fingers. Acts on the shared tracker, above which it stands.
//
// At most one in a process; it lives from the first start of a tracker on and cannot be stopped, only kept
// from starting.
class KIEVTriggerDetection : public platform::NSObject {
  NS_OBJECT(KIEVTriggerDetection, NSObject)

 public:
  // Whether a detection is also recorded as a custom event.
  enum class RecordDetection { No, Yes };

  static void describe(platform::ClassBuilder<KIEVTriggerDetection>& c);

  // Makes the shared detector, unless there is one, the options are against it or it was disabled for good.
  static void startWithOptions(const KovaOptions& options) KOVA_ON_MAIN_THREAD;
  // No detector starts from now on.
  static void disableVisualizerPairingGesture();
  static bool isPermanentlyDisabled();

  // Null before it has started.
  static std::shared_ptr<KIEVTriggerDetection> sharedInstance() KOVA_ON_MAIN_THREAD;
  static void setSharedInstance(std::shared_ptr<KIEVTriggerDetection> detection) KOVA_ON_MAIN_THREAD;

  // A detector at work: it watches the windows that exist, and those that become visible. Durations are in
  // seconds.
  static std::shared_ptr<KIEVTriggerDetection> create(const KovaOptions& options) KOVA_ON_MAIN_THREAD;
  static std::shared_ptr<KIEVTriggerDetection> create(double minimumPressDuration,
                                                      int numberOfTouchesRequired, double cooldownInterval,
                                                      RecordDetection recordDetection) KOVA_ON_MAIN_THREAD;

  // A fresh one each time: a recogniser belongs to one window.
  std::shared_ptr<platform::UILongPressGestureRecognizer> newGestureRecognizer() KOVA_ON_MAIN_THREAD;
  // A window that is shown again gets another recogniser. Null is ignored.
  void instrumentWindow(const std::shared_ptr<platform::UIWindow>& window) KOVA_ON_MAIN_THREAD;
  void handleNewlyVisibleWindow(const platform::NSNotification& notification) KOVA_ON_MAIN_THREAD;

  bool isCoolingDown() const KOVA_ON_MAIN_THREAD;
  // "detectTrigger:", the action of the recognisers. Throws nothing.
  void detectTrigger(platform::UIGestureRecognizer* recognizer) KOVA_ON_MAIN_THREAD;

 private:
  KIEVTriggerDetection(double minimumPressDuration, int numberOfTouchesRequired, double cooldownInterval,
                       RecordDetection recordDetection);
  void watchWindows() KOVA_ON_MAIN_THREAD;
  void startPairing() KOVA_ON_MAIN_THREAD;

  const RecordDetection recordDetection_;
  platform::NSDate lastTriggeredDate_
      KOVA_OF_MAIN_THREAD;  // 1970 at first: the first gesture never comes too soon
  const std::shared_ptr<platform::UIApplication> application_;
  const double cooldownInterval_;
  const double minimumPressDuration_;
  const int numberOfTouchesRequired_;
};
