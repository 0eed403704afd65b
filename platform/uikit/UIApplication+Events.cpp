#include <algorithm>
#include <exception>

#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/internal/PerformAction.h"

namespace platform {

namespace {

using Windows = std::vector<std::shared_ptr<UIWindow>>;

Windows windowsOf(const UIEvent& event) {
  Windows windows;
  for (const auto& touch : event.allTouches()) {
    const auto window = touch->window();
    if (window && std::find(windows.begin(), windows.end(), window) == windows.end())
      windows.push_back(window);
  }
  return windows;
}

std::shared_ptr<UIResponder> startOfShake(const UIApplication& application) {
  if (auto responder = UIResponder::firstResponder()) return responder;
  return application.keyWindow();
}

void deliverEvent(UIApplication& self, SEL, UIEvent& event) {
  if (event.type() == UIEventType::Motion) {
    const auto start = startOfShake(self);
    return start ? start->motionEnded(event.subtype(), &event) : self.motionEnded(event.subtype(), &event);
  }
  std::exception_ptr thrown;
  for (const auto& window : windowsOf(event)) {
    try {
      window->sendEvent(event);
    } catch (...) {
      if (!thrown) thrown = std::current_exception();
    }
  }
  if (thrown) std::rethrow_exception(thrown);
}

bool deliverAction(UIApplication&, SEL, SEL action, NSObject* target, NSObject* sender, UIEvent* event) {
  if (target) return performAction(*target, action, sender, event);
  const auto first = UIResponder::firstResponder();
  auto* responder = dynamic_cast<UIResponder*>(sender);
  if (!responder) responder = first.get();
  for (int step = 0; responder && step < UIResponder::kLongestChain; ++step) {
    if (performAction(*responder, action, sender, event, true)) return true;
    responder = responder->nextResponder();
  }
  logMissingAction(nullptr, action, sender);
  return false;
}

}  // namespace

constinit Method<void(UIApplication&, UIEvent&)> UIApplication::sendEventMethod{UIApplication::classObject,
                                                                                "sendEvent:", deliverEvent};
constinit Method<bool(UIApplication&, SEL, NSObject*, NSObject*, UIEvent*)> UIApplication::sendActionMethod{
    UIApplication::classObject, "sendAction:to:from:forEvent:", deliverAction};
// The application is the end of the chain: no responder took the shake.
constinit Method<void(UIApplication&, UIEventSubtype, UIEvent*)> UIApplication::motionEndedMethod{
    UIApplication::classObject,
    "motionEnded:withEvent:", [](UIApplication&, SEL, UIEventSubtype, UIEvent*) {}};

void UIApplication::sendEvent(UIEvent& event) { sendEventMethod.invoke(*this, event); }

bool UIApplication::sendAction(SEL action, NSObject* target, NSObject* sender, UIEvent* event) {
  return sendActionMethod.invoke(*this, action, target, sender, event);
}

void UIApplication::motionEnded(UIEventSubtype motion, UIEvent* event) {
  motionEndedMethod.invoke(*this, motion, event);
}

void UIApplication::shake() {
  const auto keep = shared_from_this();
  const auto event = std::make_shared<UIEvent>(UIEventType::Motion, UIEventSubtype::MotionShake);
  sendEvent(*event);
}

}  // namespace platform
