#pragma once

#include <optional>

#include "platform/foundation/String.h"
#include "platform/uikit/UIGestureRecognizer.h"
#include "src/core/NSObject+KovaMethodSwizzling.h"
#include "src/core/Threads.h"

// How gestures reach the library: replacements of methods of UIGestureRecognizer, which hand each call to an
// interceptor after the implementation that they replaced. No exception of the library leaves them.

// The implementations before. Null until the methods are replaced, then as they were for the life of the
// process.
extern decltype(platform::UIGestureRecognizer::initWithTargetMethod)::Imp __KOVA_InitWithTargetAction_Orig;
extern decltype(platform::UIGestureRecognizer::setStateMethod)::Imp __KOVA_SetState_Orig;

// Replaces, once a process, what the capture of touches needs of the class.
void KOVA_instrumentTouchAutocaptureOfGestureRecognizers() KOVA_ON_MAIN_THREAD;

// The name of the action that the recogniser was made with; none when it was made without, or before the
// methods were replaced.
std::optional<platform::String> KOVA_initialAction(const platform::UIGestureRecognizer& recognizer)
    KOVA_ON_MAIN_THREAD;
void KOVA_setInitialAction(platform::UIGestureRecognizer& recognizer,
                           const platform::String& action) KOVA_ON_MAIN_THREAD;

// The interceptors.
void KOVA_handleInitWithTarget(platform::UIGestureRecognizer& recognizer,
                               platform::SEL action) KOVA_ON_MAIN_THREAD;
void KOVA_handleSetState(platform::UIGestureRecognizer& recognizer, platform::UIGestureRecognizerState state,
                         platform::UIGestureRecognizerState previousState) KOVA_ON_MAIN_THREAD;
