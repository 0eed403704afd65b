#include <algorithm>
#include <exception>

#include "platform/uikit/UIEvent.h"
#include "platform/uikit/UIWindow.h"

namespace platform {

namespace {

using Touches = UIEvent::Touches;

void tell(UIView& view, UITouchPhase phase, const Touches& touches, UIEvent& event) {
  switch (phase) {
    case UITouchPhase::Began:
      return view.touchesBegan(touches, &event);
    case UITouchPhase::Moved:
      return view.touchesMoved(touches, &event);
    case UITouchPhase::Ended:
      return view.touchesEnded(touches, &event);
    case UITouchPhase::Cancelled:
      return view.touchesCancelled(touches, &event);
    case UITouchPhase::Stationary:
      return;
  }
}

// One view's touches that are in the same phase.
struct Share {
  std::shared_ptr<UIView> view;
  UITouchPhase phase;
  Touches touches;
};

std::vector<Share> sharesOf(const Touches& touches) {
  std::vector<Share> shares;
  for (const auto& touch : touches) {
    const auto view = touch->view();
    const auto isItsShare = [&](const Share& share) {
      return share.view == view && share.phase == touch->phase();
    };
    auto share = std::find_if(shares.begin(), shares.end(), isItsShare);
    if (share == shares.end()) share = shares.insert(share, {view, touch->phase(), {}});
    share->touches.push_back(touch);
  }
  return shares;
}

bool isBeginning(const std::shared_ptr<UITouch>& touch) { return touch->phase() == UITouchPhase::Began; }

}  // namespace

void UIWindow::sendEvent(UIEvent& event) {
  const auto keep = shared_from_this();
  const Touches touches = event.touchesForWindow(*this);
  if (canBecomeKeyWindow() && std::ranges::any_of(touches, isBeginning)) makeKeyWindow();
  auto [forViews, thrown] = gestures_.deliver(touches, event);
  for (const Share& share : sharesOf(forViews)) {
    try {
      tell(*share.view, share.phase, share.touches, event);
    } catch (...) {
      if (!thrown) thrown = std::current_exception();
    }
  }
  if (thrown) std::rethrow_exception(thrown);
}

}  // namespace platform
