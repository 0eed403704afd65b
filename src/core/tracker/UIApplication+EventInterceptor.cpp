#include "src/core/tracker/UIApplication+EventInterceptor.h"

#include <Kova/KovaConstants.h>

#include <algorithm>
#include <mutex>

#include "platform/runtime/Retained.h"
#include "platform/uikit/UIGestureRecognizer.h"
#include "platform/uikit/UITextField.h"
#include "platform/uikit/UITouch.h"
#include "src/core/Clock.h"
#include "src/core/Guard.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/core/tracker/KovaTracker.h"

using namespace platform;

constinit decltype(UIApplication::sendEventMethod)::Imp __KOVA_SendEvent_Orig = nullptr;
constinit decltype(UIApplication::sendActionMethod)::Imp __KOVA_SendActionToFromForEvent_Orig = nullptr;
constinit decltype(UIApplication::performSnapshotsMethod)::Imp
    __KOVA_PerformSnapshotsWithActionForSceneCompletion_Orig = nullptr;
constinit decltype(UIApplication::motionEndedMethod)::Imp __KOVA_MotionEndedWithEvent_Orig = nullptr;

namespace {

// What the platform sends to itself on the way to the real action, and what the library sends. Both spellings
// of the last occur.
bool isNeverReported(SEL action) {
  static const SEL neverReported[] = {SEL("KOVA_findFirstResponder:event:"), SEL("_sendAction:withEvent:"),
                                      SEL("_invoke:forEvent:"), SEL("_invoke:forEvent")};
  return std::find(std::begin(neverReported), std::end(neverReported), action) != std::end(neverReported);
}

// The replacements.

void __KOVA_SendEvent(UIApplication& self, SEL selector, UIEvent& event) KOVA_ON_MAIN_THREAD {
  const KIEventDispatchScope dispatch(event);
  kova::guarded({self, selector}, [&] {
    kova::mainThread.isHere();
    KOVA_handleSendEvent(self, event);
  });
  __KOVA_SendEvent_Orig(self, selector, event);
}

// Answers no, whatever the replaced implementation answers: the caller learns that no action was called.
bool __KOVA_SendActionToFromForEvent(UIApplication& self, SEL selector, SEL action, NSObject* target,
                                     NSObject* sender, UIEvent* event) KOVA_ON_MAIN_THREAD {
  const kova::Place place{self, selector};
  // The action may remove the control that sent it, and let go of the application.
  const auto keptSender = retained(sender);
  const auto keptEvent = event == KOVA_sentEvent() ? nullptr : retained(event);
  __KOVA_SendActionToFromForEvent_Orig(self, selector, action, target, sender, event);
  kova::guarded(place, [&] {
    kova::mainThread.isHere();
    KOVA_handleSendAction(self, action, keptSender, event);
  });
  return false;
}

bool __KOVA_PerformSnapshotsWithActionForSceneCompletion(
    UIApplication& self, SEL selector, const UIApplication::SnapshotAction& action, UIScene* scene,
    const UIApplication::Completion& completion) KOVA_ON_MAIN_THREAD {
  const KISnapshotScope snapshot;
  return __KOVA_PerformSnapshotsWithActionForSceneCompletion_Orig(self, selector, action, scene, completion);
}

void __KOVA_MotionEndedWithEvent(UIApplication& self, SEL selector, UIEventSubtype motion, UIEvent* event) {
  const kova::Place place{self, selector};
  __KOVA_MotionEndedWithEvent_Orig(self, selector, motion, event);
  kova::guarded(place, [&] {
    kova::mainThread.isHere();
    KOVA_handleMotionEnded(self, motion, event);
  });
}

void replaceTouchMethods() KOVA_ON_MAIN_THREAD {
  const Class& cls = UIApplication::classObject();
  if (__KOVA_SendEvent_Orig || __KOVA_SendActionToFromForEvent_Orig ||
      __KOVA_PerformSnapshotsWithActionForSceneCompletion_Orig) {
    return KOVA_registerMultipleSwizzleAttempt({"UIApplication", "KOVA_instrumentTouchAutocapture"});
  }
  __KOVA_SendEvent_Orig = KOVA_replaceInstanceSelector(cls, UIApplication::sendEventMethod, __KOVA_SendEvent);
  __KOVA_SendActionToFromForEvent_Orig =
      KOVA_replaceInstanceSelector(cls, UIApplication::sendActionMethod, __KOVA_SendActionToFromForEvent);
  __KOVA_PerformSnapshotsWithActionForSceneCompletion_Orig = KOVA_replaceInstanceSelector(
      cls, UIApplication::performSnapshotsMethod, __KOVA_PerformSnapshotsWithActionForSceneCompletion);
  NSNotificationCenter::defaultCenter().addObserver(UITextFieldTextDidEndEditingNotification,
                                                    KOVA_handleTextFieldTextDidEndEditingNotification);
}

void replaceShakeMethod() KOVA_ON_MAIN_THREAD {
  const Class& cls = UIApplication::classObject();
  if (__KOVA_MotionEndedWithEvent_Orig)
    return KOVA_registerMultipleSwizzleAttempt(
        {"UIApplication", "KOVA_instrumentEventVisualizerShakeGesture"});
  __KOVA_MotionEndedWithEvent_Orig =
      KOVA_replaceInstanceSelector(cls, UIApplication::motionEndedMethod, __KOVA_MotionEndedWithEvent);
}

// The finger that is on the sender, where several are down: the action must not describe what another
// touches.
std::shared_ptr<UITouch> touchOfSender(const UIEvent::Touches& touches, const NSObject* sender) {
  if (touches.size() < 2) return touches.empty() ? nullptr : touches.front();
  const auto* recognizer = dynamic_cast<const UIGestureRecognizer*>(sender);
  const auto recognized = recognizer ? recognizer->view() : nullptr;
  const UIView* const view = recognized ? recognized.get() : dynamic_cast<const UIView*>(sender);
  const auto isOnSender = [view](const std::shared_ptr<UITouch>& touch) {
    const auto touched = touch ? touch->view() : nullptr;
    return touched && view && touched->isDescendantOfView(*view);
  };
  const auto isActing = [](const std::shared_ptr<UITouch>& touch) {
    return touch && (touch->phase() == UITouchPhase::Ended || touch->phase() == UITouchPhase::Began);
  };
  auto found = std::ranges::find_if(touches, isOnSender);
  if (found == touches.end()) found = std::ranges::find_if(touches, isActing);
  return found == touches.end() ? touches.front() : *found;
}

}  // namespace

void KOVA_instrumentTouchAutocaptureOfApplication() {
  static std::once_flag once;
  std::call_once(once, replaceTouchMethods);
}

void KOVA_instrumentEventVisualizerShakeGesture() {
  static std::once_flag once;
  std::call_once(once, replaceShakeMethod);
}

void KOVA_handleSendEvent(UIApplication&, UIEvent& event) {
  const auto isBeginning = [](const std::shared_ptr<UITouch>& touch) {
    return touch && touch->phase() == UITouchPhase::Began;
  };
  // Most events are of fingers that move.
  if (std::ranges::none_of(event.allTouches(), isBeginning)) return;
  const UIEvent::Touches touches = event.allTouches();  // code of the app runs while they are recorded
  for (const auto& touch : touches) {
    if (!isBeginning(touch)) continue;
    const auto tracker = KovaTracker::sharedTracker();
    if (!tracker) return;
    tracker->recordAutocapturedEventWithType(KovaTouchEventTypeTouch, touch->view(), touch, std::nullopt,
                                             KovaTracker::ViewAncestry::Capture);
  }
}

void KOVA_handleSendAction(UIApplication&, SEL action, const std::shared_ptr<NSObject>& sender,
                           UIEvent* event) {
  const std::string& name = NSStringFromSelector(action);
  if (!(kova::timeSinceLastSelector(name) > kova::kShortestTimeBetweenSameActions)) return;
  kova::updateTimeForSelector(name);
  if (isNeverReported(action)) return;
  const auto touch = event ? touchOfSender(event->allTouches(), sender.get()) : nullptr;
  if (const auto tracker = KovaTracker::sharedTracker()) {
    tracker->enrichAutocapturedEventForTouch(touch, action ? std::optional<String>(name) : std::nullopt,
                                             sender);
  }
}

void KOVA_handleMotionEnded(UIApplication&, UIEventSubtype motion, UIEvent*) {
  if (motion != UIEventSubtype::MotionShake) return;
  if (const auto tracker = KovaTracker::sharedTracker()) tracker->startEVPairing();
}

void KOVA_handleTextFieldTextDidEndEditingNotification(const NSNotification& notification) {
  kova::guarded({"UIApplication", "KOVA_handleTextFieldTextDidEndEditingNotification:"}, [&notification] {
    kova::mainThread.isHere();
    const auto tracker = KovaTracker::sharedTracker();
    if (!tracker) return;
    tracker->recordAutocapturedEventWithType(KovaTouchEventTypeFieldEdit,
                                             std::dynamic_pointer_cast<UIView>(notification.object), nullptr,
                                             std::nullopt, KovaTracker::ViewAncestry::Capture);
  });
}
