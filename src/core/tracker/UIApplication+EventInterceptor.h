#pragma once

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/uikit/UIApplication.h"
#include "src/core/NSObject+KovaMethodSwizzling.h"
#include "src/core/Threads.h"

// How touches, actions, ended field edits, snapshots and shakes reach the library: replacements of methods of
// UIApplication, which hand each call to an interceptor and to the implementation that they replaced. A touch
// is seen before the application handles it, so that it is on record before the action that it causes;
// actions and shakes are seen afterwards.
//
// No exception of the library leaves a replacement. One that the replaced implementation throws, or the app
// below it, passes through.

// The implementations before. Null until the methods are replaced, then as they were for the life of the
// process.
extern decltype(platform::UIApplication::sendEventMethod)::Imp __KOVA_SendEvent_Orig;
extern decltype(platform::UIApplication::sendActionMethod)::Imp __KOVA_SendActionToFromForEvent_Orig;
extern decltype(platform::UIApplication::performSnapshotsMethod)::Imp
    __KOVA_PerformSnapshotsWithActionForSceneCompletion_Orig;
extern decltype(platform::UIApplication::motionEndedMethod)::Imp __KOVA_MotionEndedWithEvent_Orig;

// Replaces, once a process, what the capture of touches needs of the class.
void KOVA_instrumentTouchAutocaptureOfApplication() KOVA_ON_MAIN_THREAD;
void KOVA_instrumentEventVisualizerShakeGesture() KOVA_ON_MAIN_THREAD;

// The interceptors.
void KOVA_handleSendEvent(platform::UIApplication& application, platform::UIEvent& event) KOVA_ON_MAIN_THREAD;
void KOVA_handleSendAction(platform::UIApplication& application, platform::SEL action,
                           const std::shared_ptr<platform::NSObject>& sender,
                           platform::UIEvent* event) KOVA_ON_MAIN_THREAD;
void KOVA_handleMotionEnded(platform::UIApplication& application, platform::UIEventSubtype motion,
                            platform::UIEvent* event) KOVA_ON_MAIN_THREAD;
void KOVA_handleTextFieldTextDidEndEditingNotification(const platform::NSNotification& notification);
