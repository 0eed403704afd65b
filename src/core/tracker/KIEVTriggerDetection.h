#pragma once

#include <memory>

#include "platform/foundation/NSDate.h"
#include "platform/runtime/NSObject.h"

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
// from starting. Main thread, except where it says otherwise.
class KIEVTriggerDetection : public platform::NSObject {
  NS_OBJECT(KIEVTriggerDetection, NSObject)

 public:
  // Whether a detection is also recorded as a custom event.
  enum class RecordDetection { No, Yes };

  static void describe(platform::ClassBuilder<KIEVTriggerDetection>& c);

  // Makes the shared detector, unless there is one, the options are against it or it was disabled for good.
  static void startWithOptions(const KovaOptions& options);
  // No detector starts from now on. Any thread.
  static void disableVisualizerPairingGesture();
  static bool isPermanentlyDisabled();

  // Null before it has started.
  static std::shared_ptr<KIEVTriggerDetection> sharedInstance();
  static void setSharedInstance(std::shared_ptr<KIEVTriggerDetection> detection);

  // A detector at work: it watches the windows that exist, and those that become visible. Durations are in
  // seconds.
  static std::shared_ptr<KIEVTriggerDetection> create(const KovaOptions& options);
  static std::shared_ptr<KIEVTriggerDetection> create(double minimumPressDuration,
                                                      int numberOfTouchesRequired, double cooldownInterval,
                                                      RecordDetection recordDetection);

  // A fresh one each time: a recogniser belongs to one window.
  std::shared_ptr<platform::UILongPressGestureRecognizer> newGestureRecognizer();
  // A window that is shown again gets another recogniser. Null is ignored.
  void instrumentWindow(const std::shared_ptr<platform::UIWindow>& window);
  void handleNewlyVisibleWindow(const platform::NSNotification& notification);

  bool isCoolingDown() const;
  // "detectTrigger:", the action of the recognisers. Throws nothing.
  void detectTrigger(platform::UIGestureRecognizer* recognizer);

 private:
  KIEVTriggerDetection(double minimumPressDuration, int numberOfTouchesRequired, double cooldownInterval,
                       RecordDetection recordDetection);
  void watchWindows();
  void startPairing();

  const RecordDetection recordDetection_;
  platform::NSDate lastTriggeredDate_;  // 1970 at first: the first gesture never comes too soon
  const std::shared_ptr<platform::UIApplication> application_;
  const double cooldownInterval_;
  const double minimumPressDuration_;
  const int numberOfTouchesRequired_;
};
