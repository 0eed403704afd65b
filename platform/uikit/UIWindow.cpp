#include "platform/uikit/UIWindow.h"

#include <utility>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIScreen.h"
#include "platform/uikit/UIWindowScene.h"

namespace platform {

std::shared_ptr<UIWindow> UIWindow::create() { return create(UIScreen::mainScreen().bounds()); }

std::shared_ptr<UIWindow> UIWindow::create(CGRect frame) {
  auto window = std::make_shared<UIWindow>(frame);
  window->join(nullptr);
  return window;
}

std::shared_ptr<UIWindow> UIWindow::create(const std::shared_ptr<UIWindowScene>& scene) {
  const CGSize size = scene ? scene->frame().size : UIScreen::mainScreen().bounds().size;
  auto window = std::make_shared<UIWindow>(CGRect{{}, size});
  window->join(scene);
  return window;
}

UIWindow::UIWindow(CGRect frame) : UIView(frame) { UIView::setHidden(true); }

UIWindow::~UIWindow() {
  const Subviews below = UIView::subviews();
  for (const auto& subview : below) {
    try {
      subview->removeFromSuperview();
    } catch (...) {
      // A handler of the app threw; a destructor has nobody to pass that on to.
    }
  }
  const auto responder = std::dynamic_pointer_cast<UIView>(firstResponder());
  if (responder && responder->isDescendantOfView(*this)) clearFirstResponder();
  try {
    resignKeyWindow();
  } catch (...) {
    // As above.
  }
}

WindowList* UIWindow::list() const {
  if (const auto scene = scene_.lock()) return &scene->windowList({});
  const auto& application = UIApplication::sharedApplication();
  return isListed_ && application ? &application->windowList({}) : nullptr;
}

void UIWindow::join(const std::shared_ptr<UIWindowScene>& scene) {
  const auto self = std::static_pointer_cast<UIWindow>(shared_from_this());
  const bool wasKey = isKeyWindow();
  leaveList();
  if (scene && UIScene::areAvailable()) scene_ = scene;
  isListed_ = true;
  if (WindowList* const joined = list()) {
    joined->add(self);
  } else {
    isListed_ = false;  // there is no application yet
  }
  if (wasKey) makeKeyWindow();
}

void UIWindow::joinIfAlone() {
  if (!isListed_) join(nullptr);
}

void UIWindow::leaveList() {
  if (WindowList* const left = list()) {
    resignKeyWindow();
    left->remove(*this);
  }
  isListed_ = false;
  scene_.reset();
}

std::shared_ptr<UIWindowScene> UIWindow::windowScene() const { return scene_.lock(); }

void UIWindow::setWindowScene(const std::shared_ptr<UIWindowScene>& scene) {
  if (scene != scene_.lock()) join(scene);
}

UIResponder* UIWindow::nextResponder() const {
  if (const auto scene = windowScene()) return scene.get();
  return UIApplication::sharedApplication().get();
}

bool UIWindow::isKeyWindow() const {
  const WindowList* const windows = list();
  return windows && windows->isKey(*this);
}

void UIWindow::makeKeyAndVisible() {
  makeKeyWindow();
  bringToFront();
  setHidden(false);
}

void UIWindow::bringToFront() {
  static std::uint64_t lastShown = 0;
  shownOrder_ = ++lastShown;
  setNeedsDisplay();
}

CGPoint UIWindow::convertPointToScreen(CGPoint point) const {
  const auto scene = windowScene();
  const CGPoint scenePlace = scene ? scene->frame().origin : CGPoint{};
  const CGPoint place = frame().origin;
  const CGPoint scrolled = bounds().origin;
  return {point.x + place.x + scenePlace.x - scrolled.x, point.y + place.y + scenePlace.y - scrolled.y};
}

CGPoint UIWindow::convertPointFromScreen(CGPoint point) const {
  const CGPoint origin = convertPointToScreen({});
  return {point.x - origin.x, point.y - origin.y};
}

bool UIWindow::takeNeedsDisplay() { return std::exchange(needsDisplay_, false); }

void UIWindow::post(std::string_view name) {
  // Nobody is told of one that is being destroyed.
  if (const auto self = weak_from_this().lock()) NSNotificationCenter::defaultCenter().post(name, self);
}

}  // namespace platform
