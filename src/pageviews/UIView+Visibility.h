#pragma once

#include "src/core/Threads.h"

namespace platform {
class UIView;
class UIViewController;
}  // namespace platform

// Whether a view can be seen, as far as the app and its scene go: the app is not in the background, the view
// is in a window, and the scene of the window, if it has one, is in the foreground. A hidden view counts as
// visible.
bool KOVA_isForegroundAndVisible(const platform::UIView& view) KOVA_ON_MAIN_THREAD;
// The same of the controller's view; false while that is not loaded, which this does not change.
bool KOVA_isForegroundAndVisible(const platform::UIViewController& controller) KOVA_ON_MAIN_THREAD;
