#pragma once

#include <memory>
#include <vector>

#include "src/core/Threads.h"

namespace platform {
class UIViewController;
class UIWindow;
}  // namespace platform

// What the library asks of windows.

// The root controller, or what is presented last on top of it; null for a window without one.
std::shared_ptr<platform::UIViewController> KOVA_deepestViewController(const platform::UIWindow& window)
    KOVA_ON_MAIN_THREAD;

// Those of its scene, itself included; those of the application for a window without one.
std::vector<std::shared_ptr<platform::UIWindow>> KOVA_allWindowsInScene(const platform::UIWindow& window)
    KOVA_ON_MAIN_THREAD;

// The key window of the active scene or, where that gives none, of the application; null when there is none.
std::shared_ptr<platform::UIWindow> KOVA_firstActiveKeyWindow() KOVA_ON_MAIN_THREAD;

// The windows of all scenes in the foreground or, where those give none, of the application, without hidden
// ones. None while the app is in the background.
std::vector<std::shared_ptr<platform::UIWindow>> KOVA_allForegroundedAndVisibleWindows() KOVA_ON_MAIN_THREAD;
