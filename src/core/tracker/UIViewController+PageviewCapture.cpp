#include "src/core/tracker/UIViewController+PageviewCapture.h"

#include <mutex>

#include "platform/runtime/AddedMethod.h"
#include "platform/runtime/Retained.h"
#include "platform/uikit/UINavigationController.h"
#include "platform/uikit/UITabBarController.h"
#include "src/core/Guard.h"
#include "src/core/KIHierarchyLimit.h"
#include "src/core/NSObject+KovaMethodSwizzling.h"
#include "src/core/tracker/KovaTracker.h"

using namespace platform;

constinit decltype(UIViewController::viewDidAppearMethod)::Imp __KOVA_ViewDidAppear_Orig = nullptr;
constinit decltype(UIViewController::presentViewControllerMethod)::Imp
    __KOVA_PresentViewControllerAnimatedCompletion_Orig = nullptr;
constinit decltype(UIViewController::dismissViewControllerMethod)::Imp
    __KOVA_DismissViewControllerAnimatedCompletion_Orig = nullptr;

namespace {

using Controller = std::shared_ptr<UIViewController>;
using Completion = UIViewController::Completion;

// Each runs what was there before it, whose exceptions are the host's; its own part is guarded. The receiver
// is kept, because the host may let go of it on the way.

void __KOVA_ViewDidAppear(UIViewController& self, SEL selector, bool animated) {
  const auto kept = retained(&self);
  __KOVA_ViewDidAppear_Orig(self, selector, animated);
  kova::guarded({self, selector}, [&] {
    kova::mainThread.isHere();
    KOVA_handleViewDidAppear(self, animated);
  });
}

void __KOVA_PresentViewControllerAnimatedCompletion(UIViewController& self, SEL selector,
                                                    const Controller& presented, bool animated,
                                                    const Completion& completion) {
  const auto kept = retained(&self);
  __KOVA_PresentViewControllerAnimatedCompletion_Orig(self, selector, presented, animated, completion);
  kova::guarded({self, selector}, [&] {
    kova::mainThread.isHere();
    KOVA_handlePresentViewController(self, presented, animated, completion);
  });
}

void __KOVA_DismissViewControllerAnimatedCompletion(UIViewController& self, SEL selector, bool animated,
                                                    const Completion& completion) {
  const auto kept = retained(&self);
  __KOVA_DismissViewControllerAnimatedCompletion_Orig(self, selector, animated, completion);
  kova::guarded({self, selector}, [&] {
    kova::mainThread.isHere();
    KOVA_handleDismissViewController(self, animated, completion);
  });
}

void replaceMethods() KOVA_ON_MAIN_THREAD {
  const Class& cls = UIViewController::classObject();
  if (__KOVA_ViewDidAppear_Orig || __KOVA_PresentViewControllerAnimatedCompletion_Orig ||
      __KOVA_DismissViewControllerAnimatedCompletion_Orig) {
    return KOVA_registerMultipleSwizzleAttempt({"UIViewController", "KOVA_instrumentPageviewAutocapture"});
  }
  __KOVA_ViewDidAppear_Orig =
      KOVA_replaceInstanceSelector(cls, UIViewController::viewDidAppearMethod, __KOVA_ViewDidAppear);
  __KOVA_PresentViewControllerAnimatedCompletion_Orig = KOVA_replaceInstanceSelector(
      cls, UIViewController::presentViewControllerMethod, __KOVA_PresentViewControllerAnimatedCompletion);
  __KOVA_DismissViewControllerAnimatedCompletion_Orig = KOVA_replaceInstanceSelector(
      cls, UIViewController::dismissViewControllerMethod, __KOVA_DismissViewControllerAnimatedCompletion);
}

// The answers to "KOVA_viewControllerForPageView": one step towards the screen. A controller that stands for
// itself answers itself. KOVA_viewControllerForPageView takes the steps, and can count them.

using ScreenMethod = AddedMethod<Controller(UIViewController&)>;

Controller screenOfViewController(UIViewController& self, SEL) {
  return std::static_pointer_cast<UIViewController>(self.weak_from_this().lock());
}

Controller screenOfNavigationController(UIViewController& self, SEL) {
  const auto stack = static_cast<UINavigationController&>(self).viewControllers();
  return stack.empty() ? nullptr : stack.back();
}

Controller screenOfTabBarController(UIViewController& self, SEL) {
  return static_cast<UITabBarController&>(self).selectedViewController();
}

ScreenMethod& screenMethod() {
  static constinit ScreenMethod method{UIViewController::classObject, "KOVA_viewControllerForPageView",
                                       screenOfViewController};
  static std::once_flag answered;
  std::call_once(answered, [] {
    method.set(UINavigationController::classObject(), screenOfNavigationController);
    method.set(UITabBarController::classObject(), screenOfTabBarController);
  });
  return method;
}

struct LastTracked {
  std::weak_ptr<UIViewController> controller;
  const UIViewController* address = nullptr;  // good to compare with while the controller exists
};

LastTracked& lastTracked() KOVA_ON_MAIN_THREAD {
  static LastTracked& instance = *new LastTracked;
  return instance;
}

bool isLastTracked(const UIViewController& controller) KOVA_ON_MAIN_THREAD {
  return lastTracked().address == &controller && !lastTracked().controller.expired();
}

}  // namespace

void KOVA_instrumentPageviewAutocapture() {
  static std::once_flag once;
  std::call_once(once, replaceMethods);
}

void KOVA_handleViewDidAppear(UIViewController& controller, bool) {
  // What was tracked is a screen, which stands for itself.
  if (isLastTracked(controller)) return;
  const auto screen = KOVA_viewControllerForPageView(
      std::static_pointer_cast<UIViewController>(controller.weak_from_this().lock()));
  if (screen) KOVA_recordAutocapturedPageview(screen);
}

// A presented controller appears, and so does the one uncovered by a dismissal: nothing is left to do here.
void KOVA_handlePresentViewController(UIViewController&, const Controller&, bool, const Completion&) {}
void KOVA_handleDismissViewController(UIViewController&, bool, const Completion&) {}

void KOVA_recordAutocapturedPageview(const Controller& controller) {
  if (isLastTracked(*controller) || KOVA_isIgnored(*controller)) return;
  if (const auto tracker = KovaTracker::sharedTracker()) {
    tracker->recordAutocapturedPageviewWithViewController(controller);
  }
  KOVA_setLastTrackedViewController(controller);
}

Controller KOVA_viewControllerForPageView(const Controller& controller) {
  Controller screen = controller;
  for (int step = 0; screen && step < kHierarchyStepLimit; ++step) {
    Controller next = screenMethod().send(*screen);
    if (next == screen) return screen;
    screen = std::move(next);
  }
  return nullptr;
}

bool KOVA_isIgnored(const UIViewController& controller) {
  return KOVA_classesToIgnore().contains(NSStringFromClass(controller.isa()));
}

const std::unordered_set<std::string_view>& KOVA_classesToIgnore() {
  static const auto& names = *new std::unordered_set<std::string_view>{
      "UIAccessibilityLargeTextSegmentedViewController",
      "UIActivityContentViewController",
      "UIActivityGroupViewController",
      "UIApplicationRotationFollowingController",
      "UIApplicationRotationFollowingControllerNoTouches",
      "UICandidateViewController",
      "UICompatibilityInputViewController",
      "UICompatibilityPredictiveViewController",
      "UIInputWindowController",
      "UIKeyboardHiddenViewController_Autofill",
      "UIKeyboardHiddenViewController_ExternalCredential",
      "UIKeyboardHiddenViewController_Save",
      "UIKeyboardMediaServiceRemoteViewController",
      "UIPredictionViewController",
      "UIPrinterBrowserViewController",
      "UIPrinterUtilityTableViewController",
      "UIPrintPanelTableViewController",
      "UIPrintPreviewViewController",
      "UIPrintRangeViewController",
      "UISnapshotModalViewController",
      "UISystemInputAssistantViewController",
      "UISystemKeyboardDockController",
      "UIUndoTutorialViewController",
      "UIWebRotatingAlertController",
      "UIWebSelectTableViewController",
      "_UIActivityGroupListViewController",
      "_UIActivityUserDefaultsViewController",
      "_UIActivityViewControllerContentController",
      "_UIAlertControllerTextFieldViewController",
      "_UIContextMenuActionsOnlyViewController",
      "_UIDICActivityViewController",
      "_UIImagePickerPlaceholderViewController",
      "_UIFallbackPresentationViewController",
      "_UIPrintPagePreviewImageViewController",
      "_UIRemoteViewController",
      "_UIResilientRemoteViewContainerViewController",
      "_UIRotatingAlertController",
      "_UISFAirDropInstructionsViewController",
      "_UIShareExtensionRemoteViewController",
      "_UIWaitingForRemoteViewContainerViewController",
  };
  return names;
}

Controller KOVA_lastTrackedViewController() { return lastTracked().controller.lock(); }

void KOVA_setLastTrackedViewController(const Controller& controller) {
  lastTracked() = {controller, controller.get()};
}
