#pragma once

#include <memory>
#include <vector>

#include "platform/graphics/CGGeometry.h"

namespace platform {

class UIView;
class UIWindow;

// How windows lie over each other. Main thread only.

// Stable: windows of another toolkit, which keeps the order of showing to itself, stay as they came.
void sortBackToFront(std::vector<std::shared_ptr<UIWindow>>& windows);

// Those that are not hidden, front-most first.
std::vector<std::shared_ptr<UIWindow>> visibleWindowsFrontToBack(
    std::vector<std::shared_ptr<UIWindow>> windows);

struct WindowHit {
  std::shared_ptr<UIWindow> window;
  std::shared_ptr<UIView> view;
};

// The front-most window of the shared application that has a view at the point, which may be the window
// itself, and that view. Both null when there is none. Windows of scenes that are not in the foreground, or
// lie elsewhere on the screen, are left out. Lays the windows out before asking them.
WindowHit hitTestWindows(CGPoint pointOnScreen);

}  // namespace platform
