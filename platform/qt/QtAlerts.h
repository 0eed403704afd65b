#pragma once

#include <memory>

namespace platform {

class UIAlertController;

// Alerts as message boxes, which keep nobody from working in the program's windows. Main thread only.
void showAlert(const std::shared_ptr<UIAlertController>& alert);
// Takes its box away, if it is still there.
void hideAlert(const UIAlertController& alert);

}  // namespace platform
