#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/graphics/CGGeometry.h"
#include "platform/uikit/UITouchInput.h"
#include "platform/uikit/UIView.h"
#include "platform/uikit/UIWindowScene.h"

namespace platform {

// Somebody who uses the app: reads what is on the screen, and taps, types and swipes.
//
//   SimulatedUser user([&](double seconds) { scheduler.advance(seconds); });
//   user.taps("Add to basket");
//
// Each act passes through the shared application like a real finger's work, and takes time, which the
// function given to the constructor lets pass: virtual time in a test, turns of the main run loop in a
// program. What cannot be done (no such text on the screen, nothing that takes what is typed) throws a
// std::runtime_error that says what there is instead. Exceptions of the app pass through. Main thread only.
class SimulatedUser {
 public:
  using PassTime = std::function<void(double seconds)>;
  enum class Direction { Left, Right, Up, Down };

  explicit SimulatedUser(PassTime passTime);

  // Looks at one scene alone, or at all of them again when it is null.
  void looksAt(std::shared_ptr<UIWindowScene> scene) { scene_ = std::move(scene); }

  // The front-most view on the screen that is known by this text: its title, text, accessibility label or
  // accessibility identifier. A view that is hidden, covered or scrolled away is not on the screen.
  std::shared_ptr<UIView> findsText(std::string_view text) const;
  // Whether there is one.
  bool sees(std::string_view text) const;
  // Every text on the screen, front-most first, each once.
  std::vector<std::string> readableTexts() const;

  void taps(std::string_view text);
  void taps(const UIView& view);
  void tapsAt(CGPoint pointOnScreen);
  void doubleTaps(const UIView& view);
  void longPresses(const UIView& view, double seconds, int fingers = 1);
  void swipes(Direction direction, const UIView& on);
  // In screen coordinates.
  void drags(CGPoint from, CGPoint to, double seconds);

  // Character by character, into the first responder.
  void types(std::string_view text);
  // With fingers on the keys of the system's keyboard, which has letters, digits and little else.
  void typesOnKeyboard(std::string_view text);
  void erases(int characters);

  void shakes();
  void leavesTheApp();
  void comesBack();
  void waits(double seconds) const { passTime_(seconds); }

 private:
  void visitVisible(const std::function<bool(const std::shared_ptr<UIView>&)>& isWanted) const;
  void tapsKey(std::string_view name);

  const PassTime passTime_;
  std::shared_ptr<UIWindowScene> scene_;
  UITouchInput input_;
};

}  // namespace platform
