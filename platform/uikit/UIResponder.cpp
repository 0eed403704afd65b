#include "platform/uikit/UIResponder.h"

namespace platform {

namespace {

std::weak_ptr<UIResponder>& first() {
  static auto& responder = *new std::weak_ptr<UIResponder>;
  return responder;
}

// Counts how far an event has been handed on, however the handing ends.
class Step {
 public:
  Step() { ++length_; }
  ~Step() { --length_; }
  Step(const Step&) = delete;
  Step& operator=(const Step&) = delete;

  static bool isWithinChain() { return length_ <= UIResponder::kLongestChain; }

 private:
  static inline int length_ = 0;
};

template <typename Handler, typename... Args>
void handOn(const UIResponder& responder, Handler handler, const Args&... args) {
  const Step step;
  UIResponder* const next = responder.nextResponder();
  if (!next || !Step::isWithinChain()) return;
  const auto keep = next->weak_from_this().lock();
  (next->*handler)(args...);
}

}  // namespace

void UIResponder::touchesBegan(const Touches& touches, UIEvent* event) {
  handOn(*this, &UIResponder::touchesBegan, touches, event);
}

void UIResponder::touchesMoved(const Touches& touches, UIEvent* event) {
  handOn(*this, &UIResponder::touchesMoved, touches, event);
}

void UIResponder::touchesEnded(const Touches& touches, UIEvent* event) {
  handOn(*this, &UIResponder::touchesEnded, touches, event);
}

void UIResponder::touchesCancelled(const Touches& touches, UIEvent* event) {
  handOn(*this, &UIResponder::touchesCancelled, touches, event);
}

void UIResponder::motionEnded(UIEventSubtype motion, UIEvent* event) {
  handOn(*this, &UIResponder::motionEnded, motion, event);
}

bool UIResponder::becomeFirstResponder() {
  if (isFirstResponder()) return true;
  if (!canBecomeFirstResponder()) return false;
  if (const auto present = firstResponder(); present && !present->resignFirstResponder()) return false;
  // Whoever took the place while the other one left it keeps it.
  if (firstResponder()) return isFirstResponder();
  first() = std::static_pointer_cast<UIResponder>(shared_from_this());
  return true;
}

bool UIResponder::resignFirstResponder() {
  if (!isFirstResponder()) return true;
  if (!canResignFirstResponder()) return false;
  clearFirstResponder();
  return true;
}

std::shared_ptr<UIResponder> UIResponder::firstResponder() { return first().lock(); }

void UIResponder::clearFirstResponder() { first().reset(); }

}  // namespace platform
