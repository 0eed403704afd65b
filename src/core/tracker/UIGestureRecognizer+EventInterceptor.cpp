#include "src/core/tracker/UIGestureRecognizer+EventInterceptor.h"

#include <mutex>

#include "platform/runtime/Retained.h"
#include "src/core/Guard.h"
#include "src/core/tracker/KovaTracker.h"

using namespace platform;

constinit decltype(UIGestureRecognizer::initWithTargetMethod)::Imp __KOVA_InitWithTargetAction_Orig = nullptr;
constinit decltype(UIGestureRecognizer::setStateMethod)::Imp __KOVA_SetState_Orig = nullptr;

namespace {

// The name of an action, kept with its recogniser.
class KIInitialAction : public NSObject {
  NS_OBJECT(KIInitialAction, NSObject)

 public:
  explicit KIInitialAction(String name) : name_(std::move(name)) {}
  const String& name() const { return name_; }

 private:
  const String name_;
};

constexpr char kInitialActionKey = 0;  // its address is the key

// The replacements.

std::shared_ptr<UIGestureRecognizer> __KOVA_InitWithTargetAction(UIGestureRecognizer& self, SEL selector,
                                                                 NSObject* target, SEL action) {
  auto recognizer = __KOVA_InitWithTargetAction_Orig(self, selector, target, action);
  if (action && recognizer) {
    kova::guarded({*recognizer, selector}, [&] {
      kova::mainThread.isHere();
      KOVA_handleInitWithTarget(*recognizer, action);
    });
  }
  return recognizer;
}

void __KOVA_SetState(UIGestureRecognizer& self, SEL selector, UIGestureRecognizerState state) {
  // A recogniser that moves takes many steps, and only its end makes an event.
  if (state != UIGestureRecognizerState::Ended) return __KOVA_SetState_Orig(self, selector, state);
  const auto kept = retained(&self);
  // Asking may run code of the app, at a moment when nobody would have asked without the library.
  const auto previousState = kova::guarded(
      {self, selector}, [&self] { return std::optional(self.state()); },
      std::optional<UIGestureRecognizerState>());
  __KOVA_SetState_Orig(self, selector, state);
  if (!previousState) return;
  kova::guarded({self, selector}, [&] {
    kova::mainThread.isHere();
    KOVA_handleSetState(self, state, *previousState);
  });
}

void replaceMethods() KOVA_ON_MAIN_THREAD {
  const Class& cls = UIGestureRecognizer::classObject();
  if (__KOVA_InitWithTargetAction_Orig || __KOVA_SetState_Orig) {
    return KOVA_registerMultipleSwizzleAttempt({"UIGestureRecognizer", "KOVA_instrumentTouchAutocapture"});
  }
  __KOVA_InitWithTargetAction_Orig = KOVA_replaceInstanceSelector(
      cls, UIGestureRecognizer::initWithTargetMethod, __KOVA_InitWithTargetAction);
  __KOVA_SetState_Orig =
      KOVA_replaceInstanceSelector(cls, UIGestureRecognizer::setStateMethod, __KOVA_SetState);
}

}  // namespace

void KOVA_instrumentTouchAutocaptureOfGestureRecognizers() {
  static std::once_flag once;
  std::call_once(once, replaceMethods);
}

std::optional<String> KOVA_initialAction(const UIGestureRecognizer& recognizer) {
  const auto kept = associatedObject(recognizer, &kInitialActionKey);
  if (!kept) return std::nullopt;
  return static_cast<const KIInitialAction&>(*kept).name();
}

void KOVA_setInitialAction(UIGestureRecognizer& recognizer, const String& action) {
  setAssociatedObject(recognizer, &kInitialActionKey, std::make_shared<KIInitialAction>(action));
}

void KOVA_handleInitWithTarget(UIGestureRecognizer& recognizer, SEL action) {
  if (action) KOVA_setInitialAction(recognizer, NSStringFromSelector(action));
}

void KOVA_handleSetState(UIGestureRecognizer& recognizer, UIGestureRecognizerState state,
                         UIGestureRecognizerState previousState) {
  constexpr auto ended = UIGestureRecognizerState::Ended;
  if (state != ended || previousState == ended || recognizer.state() != ended) return;
  if (const auto tracker = KovaTracker::sharedTracker()) {
    tracker->recordAutocapturedGestureRecognizer(recognizer);
  }
}
