#pragma once

#include <memory>
#include <vector>

#include "src/core/Threads.h"

namespace platform {
class UIScene;
class UIWindow;
class UIWindowScene;
}  // namespace platform

// What the library asks of scenes.

// Active or inactive; false in the background and before it is connected.
bool KOVA_isInForeground(const platform::UIScene& scene) KOVA_ON_MAIN_THREAD;

// An added method: null for a scene that shows no windows; for a window scene the first of its windows that
// is key, null when none is.
std::shared_ptr<platform::UIWindow> KOVA_firstKeyWindow(platform::UIScene& scene) KOVA_ON_MAIN_THREAD;

// The first connected window scene that is active in the foreground; null when there is none.
std::shared_ptr<platform::UIWindowScene> KOVA_activeWindowScene() KOVA_ON_MAIN_THREAD;
// Every connected window scene in the foreground, in the order of connection.
std::vector<std::shared_ptr<platform::UIWindowScene>> KOVA_foregroundedWindowScenes() KOVA_ON_MAIN_THREAD;
