#pragma once

#include <functional>
#include <string>

#include "platform/qt/QtItems.h"
#include "platform/uikit/UIApplication.h"

class QByteArray;
class QKeyEvent;
class QObject;

namespace platform {

// A Qt application as the platform's, with its windows.
class QtApplication final : public UIApplication {
 public:
  QtApplication();

  const Class& isa() const noexcept override { return class_; }
  // Back to front: the active one last.
  std::vector<std::shared_ptr<UIWindow>> windows() const override;
  std::shared_ptr<UIWindow> keyWindow() const override;

  void alertDidAppear(const std::shared_ptr<UIAlertController>& alert) override;
  void alertDidDisappear(UIAlertController& alert) override;

  // Goes to the state that Qt's application is in.
  void followState();

 private:
  const Class& class_;
};

// What Qt says of an application.
struct QtState {
  bool hasWindow;  // one that is visible and not minimised
  bool isActive;
  bool hasActiveWindow;
};

// In the background is an application without a window. A display without a window manager makes no window
// active: there it comes to the front with its first one.
UIApplicationState qtStateAfter(UIApplicationState before, QtState now);

struct QtOptions {
  // See QtScreens::setProperty.
  const char* screenProperty = nullptr;
  // A dynamic property of a widget or an action was set, changed or taken away, or a widget had it at the
  // start.
  std::function<void(QObject& object, const QByteArray& name)> propertyChanged = [](QObject&,
                                                                                    const QByteArray&) {};
  // A view was made for a widget or an action, or has got a controller.
  std::function<void(QObject& object, UIView& view)> viewMade = [](QObject&, UIView&) {};
  // A key goes down, in any window.
  std::function<void(QKeyEvent& event)> keyPressed = [](QKeyEvent&) {};
  QtItemTexts itemTexts;
  // The application is about to quit, or the user's session ends.
  std::function<void()> willQuit = [] {};
};

// Names the folders that are used: "com.example.Notes".
std::string qtApplicationIdentifier();

// Everything that a Qt program states before it starts libraries, in one call on the thread of its
// QApplication, whose name, version and organization are set by then. The folders that are used are named
// after the organization's domain and the application, and are none that Qt gives to the program. No window
// is looked at. A second call does nothing.
void startQtPlatform();

// The same, and the windows are watched from now on, those that are there already as well. A second call does
// nothing.
void startQtApplication(QtOptions options);

}  // namespace platform
