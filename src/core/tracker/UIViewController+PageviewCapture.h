#pragma once

#include <memory>
#include <string_view>
#include <unordered_set>

#include "platform/uikit/UIViewController.h"
#include "src/core/Threads.h"

// Records a pageview whenever the view of a controller has appeared: the library puts its own implementations
// around three methods of UIViewController, and what they notice goes to the shared tracker.

// Replaces the methods, once a process and for good. Reports an attempt to replace what has been replaced
// already, which disables the library.
void KOVA_instrumentPageviewAutocapture() KOVA_ON_MAIN_THREAD;

// The implementations before; null until they are replaced.
extern decltype(platform::UIViewController::viewDidAppearMethod)::Imp __KOVA_ViewDidAppear_Orig;
extern decltype(platform::UIViewController::presentViewControllerMethod)::Imp
    __KOVA_PresentViewControllerAnimatedCompletion_Orig;
extern decltype(platform::UIViewController::dismissViewControllerMethod)::Imp
    __KOVA_DismissViewControllerAnimatedCompletion_Orig;

// What the replacements call after the implementations before.
void KOVA_handleViewDidAppear(platform::UIViewController& controller, bool animated) KOVA_ON_MAIN_THREAD;
void KOVA_handlePresentViewController(
    platform::UIViewController& presenting, const std::shared_ptr<platform::UIViewController>& presented,
    bool animated, const platform::UIViewController::Completion& completion) KOVA_ON_MAIN_THREAD;
void KOVA_handleDismissViewController(platform::UIViewController& controller, bool animated,
                                      const platform::UIViewController::Completion& completion)
    KOVA_ON_MAIN_THREAD;

// Records a pageview of the controller, unless it is one of the system's own or was the last one to get here.
void KOVA_recordAutocapturedPageview(const std::shared_ptr<platform::UIViewController>& controller)
    KOVA_ON_MAIN_THREAD;

// The screen that the controller stands for: itself or, for a container, the one that it shows. Null for a
// container that is empty.
std::shared_ptr<platform::UIViewController> KOVA_viewControllerForPageView(
    const std::shared_ptr<platform::UIViewController>& controller) KOVA_ON_MAIN_THREAD;

// Whether the controller's very class is a system class that is no screen of the app. Subclasses are not.
bool KOVA_isIgnored(const platform::UIViewController& controller);
const std::unordered_set<std::string_view>& KOVA_classesToIgnore();

// The controller that was recorded last, if it still exists. It gets no second pageview before another one
// has had its own.
std::shared_ptr<platform::UIViewController> KOVA_lastTrackedViewController() KOVA_ON_MAIN_THREAD;
void KOVA_setLastTrackedViewController(const std::shared_ptr<platform::UIViewController>& controller)
    KOVA_ON_MAIN_THREAD;
