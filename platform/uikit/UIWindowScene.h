#pragma once

#include <memory>
#include <vector>

#include "platform/graphics/CGGeometry.h"
#include "platform/graphics/Image.h"
#include "platform/uikit/UIScene.h"
#include "platform/uikit/WindowList.h"

namespace platform {

class UIWindow;

// A scene that shows windows, in a rectangle of the screen. Windows are listed weakly, in the order in which
// they came to the scene.
class PLATFORM_EXPORT UIWindowScene : public UIScene {
  NS_OBJECT(UIWindowScene, UIScene)

 public:
  // Fills the main screen unless a rectangle of it is given.
  UIWindowScene();
  explicit UIWindowScene(CGRect frame) : frame_(frame) {}

  virtual std::vector<std::shared_ptr<UIWindow>> windows() const;
  CGRect frame() const { return frame_; }
  void setFrame(CGRect frame) { frame_ = frame; }

  // What the app switcher shows for the scene: taken when the app goes to the background, null before.
  const std::shared_ptr<const Image>& snapshot() const { return snapshot_; }
  void setSnapshot(std::shared_ptr<const Image> snapshot) { snapshot_ = std::move(snapshot); }

  // The windows' own calls.
  void addWindow(const std::shared_ptr<UIWindow>& window);
  void removeWindow(const UIWindow& window);

 private:
  CGRect frame_;
  WindowList windows_;
  std::shared_ptr<const Image> snapshot_;
};

}  // namespace platform
