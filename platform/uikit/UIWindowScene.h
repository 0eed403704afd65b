#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/graphics/CGGeometry.h"
#include "platform/graphics/Image.h"
#include "platform/runtime/Passkey.h"
#include "platform/uikit/UIScene.h"
#include "platform/uikit/WindowList.h"

namespace platform {

class UIWindow;

// A scene that shows windows, in a rectangle of the screen. Windows are listed weakly.
class PLATFORM_EXPORT UIWindowScene : public UIScene {
  NS_OBJECT(UIWindowScene, UIScene)

 public:
  // Fills the main screen unless a rectangle of it is given.
  UIWindowScene();
  explicit UIWindowScene(CGRect frame) : frame_(frame) {}

  // Back to front: by level, within a level by when they were shown.
  virtual std::vector<std::shared_ptr<UIWindow>> windows() const;
  // Null when no window of the scene is key.
  virtual std::shared_ptr<UIWindow> keyWindow() const;
  CGRect frame() const { return frame_; }
  void setFrame(CGRect frame) { frame_ = frame; }

  // What the app switcher shows for the scene: taken when the app goes to the background, null before.
  const std::shared_ptr<const Image>& snapshot() const { return snapshot_; }
  void setSnapshot(std::shared_ptr<const Image> snapshot) { snapshot_ = std::move(snapshot); }

  // When one of its windows was made key last, as WindowList counts; 0 when none ever was.
  std::uint64_t keyOrder() const { return windows_.keyOrder(); }

  // Of its windows, which enter themselves.
  WindowList& windowList(Passkey<UIWindow>) { return windows_; }

 private:
  CGRect frame_;
  WindowList windows_;
  std::shared_ptr<const Image> snapshot_;
};

}  // namespace platform
