#include "platform/simulator/SimulatedUser.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "platform/foundation/ASCII.h"
#include "platform/foundation/CodePoints.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIButton.h"
#include "platform/uikit/UIKeyboardLayoutStar.h"
#include "platform/uikit/UILabel.h"
#include "platform/uikit/UITextField.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/WindowOrder.h"

namespace platform {

namespace {

// Seconds.
constexpr double kTouchTime = 0.06;
constexpr double kBetweenTapsOfOne = 0.1;
constexpr double kSwipeTime = 0.12;
constexpr double kFrameTime = 1.0 / 60;
constexpr double kKeyTime = 0.03;

// Points.
constexpr double kFingerDistance = 30;
constexpr double kShortestSwipe = 80;

constexpr double kLeastAlpha = 0.01;

UIApplication& application() {
  const auto& shared = UIApplication::sharedApplication();
  if (!shared) throw std::runtime_error("there is no app to use");
  return *shared;
}

// What a view is known by to somebody who looks at it.
std::vector<std::string> textsOf(const UIView& view) {
  std::vector<std::string> texts;
  const auto add = [&texts](const std::optional<String>& text) {
    if (text && !text->empty() && std::find(texts.begin(), texts.end(), text->view()) == texts.end()) {
      texts.push_back(text->str());
    }
  };
  if (const auto* label = dynamic_cast<const UILabel*>(&view)) add(label->text());
  if (const auto* button = dynamic_cast<const UIButton*>(&view)) {
    if (const auto title = button->titleLabel()) add(title->text());
  }
  if (const auto* field = dynamic_cast<const UITextField*>(&view); field && !field->isSecureTextEntry()) {
    add(field->text());
  }
  add(view.accessibilityLabel());
  add(view.accessibilityIdentifier());
  return texts;
}

bool isKnownBy(const UIView& view, std::string_view text) {
  const auto texts = textsOf(view);
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

CGPoint middleOf(const CGRect& rect) { return {CGRectGetMidX(rect), CGRectGetMidY(rect)}; }

CGPoint pointOnScreen(const UIView& view, CGPoint point) {
  const UIWindow* const window = view.window();
  if (!window) throw std::runtime_error("the view is in no window: " + view.description());
  return window->convertPointToScreen(view.convertPointToView(point, nullptr));
}

// Depth first, the front-most first; stops, and answers yes, at the view that is wanted.
bool visit(const std::shared_ptr<UIView>& view,
           const std::function<bool(const std::shared_ptr<UIView>&)>& isWanted) {
  if (view->isHidden() || view->alpha() < kLeastAlpha) return false;
  const UIView::Subviews subviews = view->subviews();
  for (auto subview = subviews.rbegin(); subview != subviews.rend(); ++subview) {
    if (visit(*subview, isWanted)) return true;
  }
  return isWanted(view);
}

CGPoint step(SimulatedUser::Direction direction, double length) {
  switch (direction) {
    case SimulatedUser::Direction::Left:
      return {-length, 0};
    case SimulatedUser::Direction::Right:
      return {length, 0};
    case SimulatedUser::Direction::Up:
      return {0, -length};
    case SimulatedUser::Direction::Down:
      return {0, length};
  }
  return {};
}

std::vector<std::shared_ptr<UIWindow>> windowsFrontToBack() {
  return visibleWindowsFrontToBack(application().windows());
}

CGPoint middleOnScreen(const UIView& view) { return pointOnScreen(view, middleOf(view.bounds())); }

// Whether a finger on the middle of the view meets it, something inside it, or something that it lies in: a
// label takes no touches itself.
bool isReachable(const UIView& view) {
  const auto hit = hitTestWindows(middleOnScreen(view)).view;
  return hit && (hit->isDescendantOfView(view) || view.isDescendantOfView(*hit));
}

}  // namespace

SimulatedUser::SimulatedUser(PassTime passTime) : passTime_(std::move(passTime)) {}

std::shared_ptr<UIView> SimulatedUser::findsText(std::string_view text) const {
  std::shared_ptr<UIView> found;
  visitVisible([&](const std::shared_ptr<UIView>& view) {
    if (!isKnownBy(*view, text)) return false;
    found = view;
    return true;
  });
  if (found) return found;
  std::string message = "there is no \"" + std::string(text) + "\" on the screen, but";
  for (const std::string& other : readableTexts()) message += " \"" + other + "\"";
  throw std::runtime_error(message);
}

bool SimulatedUser::sees(std::string_view text) const {
  bool isSeen = false;
  visitVisible([&](const std::shared_ptr<UIView>& view) { return isSeen = isKnownBy(*view, text); });
  return isSeen;
}

std::vector<std::string> SimulatedUser::readableTexts() const {
  std::vector<std::string> texts;
  visitVisible([&](const std::shared_ptr<UIView>& view) {
    for (std::string& text : textsOf(*view)) {
      if (std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(std::move(text));
    }
    return false;
  });
  return texts;
}

void SimulatedUser::taps(std::string_view text) { taps(*findsText(text)); }

void SimulatedUser::taps(const UIView& view) { tapsAt(middleOnScreen(view)); }

void SimulatedUser::tapsAt(CGPoint pointOnScreen) {
  input_.touchBegan(0, pointOnScreen);
  passTime_(kTouchTime);
  input_.touchEnded(0);
  passTime_(0);
}

void SimulatedUser::doubleTaps(const UIView& view) {
  const CGPoint point = middleOnScreen(view);
  tapsAt(point);
  passTime_(kBetweenTapsOfOne);
  tapsAt(point);
}

void SimulatedUser::longPresses(const UIView& view, double seconds, int fingers) {
  const CGPoint middle = middleOnScreen(view);
  for (int finger = 0; finger < fingers; ++finger) {
    const double fromMiddle = (finger - (fingers - 1) / 2.0) * kFingerDistance;
    input_.touchBegan(finger, {middle.x + fromMiddle, middle.y});
  }
  passTime_(seconds);
  for (int finger = 0; finger < fingers; ++finger) input_.touchEnded(finger);
  passTime_(0);
}

void SimulatedUser::swipes(Direction direction, const UIView& on) {
  const bool isHorizontal = direction == Direction::Left || direction == Direction::Right;
  const CGSize size = on.bounds().size;
  const double length = std::max(kShortestSwipe, (isHorizontal ? size.width : size.height) / 2);
  const CGPoint middle = middleOnScreen(on);
  const CGPoint half = step(direction, length / 2);
  drags({middle.x - half.x, middle.y - half.y}, {middle.x + half.x, middle.y + half.y}, kSwipeTime);
}

void SimulatedUser::drags(CGPoint from, CGPoint to, double seconds) {
  const int frames = std::max(1, static_cast<int>(std::lround(seconds / kFrameTime)));
  input_.touchBegan(0, from);
  for (int frame = 1; frame <= frames; ++frame) {
    passTime_(seconds / frames);
    const double part = static_cast<double>(frame) / frames;
    input_.touchMoved(0, {from.x + (to.x - from.x) * part, from.y + (to.y - from.y) * part});
  }
  input_.touchEnded(0);
  passTime_(0);
}

void SimulatedUser::types(std::string_view text) {
  while (!text.empty()) {
    const std::string_view rest = text;
    const String character(rest.substr(0, takeCodePoint(text).length));
    const auto responder = UIResponder::firstResponder();
    if (!responder) throw std::runtime_error("nothing on the screen takes what is typed");
    responder->insertText(character);
    passTime_(kKeyTime);
  }
}

void SimulatedUser::typesOnKeyboard(std::string_view text) {
  for (const char character : text) {
    if (isASCIIUppercase(character)) {
      tapsKey("shift");
      tapsKey(std::string(1, lowercaseASCII(character)));
    } else if (character == ' ') {
      tapsKey("space");
    } else if (character == '\n') {
      tapsKey("return");
    } else {
      tapsKey(std::string(1, character));
    }
  }
}

void SimulatedUser::tapsKey(std::string_view name) {
  std::shared_ptr<UIKeyboardLayoutStar> keys;
  for (const auto& window : windowsFrontToBack()) {
    visit(window, [&](const auto& view) {
      return (keys = std::dynamic_pointer_cast<UIKeyboardLayoutStar>(view)) != nullptr;
    });
    if (keys) break;
  }
  if (!keys) throw std::runtime_error("there is no keyboard on the screen");
  const auto frame = keys->frameOfKey(name);
  if (!frame) throw std::runtime_error("the keyboard has no key \"" + std::string(name) + "\"");
  tapsAt(pointOnScreen(*keys, middleOf(*frame)));
  passTime_(kKeyTime);
}

void SimulatedUser::erases(int characters) {
  for (int i = 0; i < characters; ++i) {
    const auto responder = UIResponder::firstResponder();
    if (!responder) throw std::runtime_error("nothing on the screen takes what is typed");
    responder->deleteBackward();
    passTime_(kKeyTime);
  }
}

void SimulatedUser::shakes() {
  application().shake();
  passTime_(0);
}

void SimulatedUser::leavesTheApp() {
  input_.cancelAllTouches();
  application().enterBackground();
  passTime_(0);
}

void SimulatedUser::comesBack() {
  application().enterForeground();
  passTime_(0);
}

void SimulatedUser::visitVisible(const std::function<bool(const std::shared_ptr<UIView>&)>& isWanted) const {
  for (const auto& window : windowsFrontToBack()) {
    if (scene_ && window->windowScene() != scene_) continue;
    window->layoutIfNeeded();
    const bool isFound = visit(
        window, [&](const std::shared_ptr<UIView>& view) { return isReachable(*view) && isWanted(view); });
    if (isFound) return;
  }
}

}  // namespace platform
