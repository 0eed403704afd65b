#include "platform/uikit/UITouch.h"
#include "platform/uikit/UIView.h"

namespace platform {

namespace {

// A window's coordinates are those that its views convert to and from by default.
CGPoint convertFromWindow(CGPoint point, const UIView* view) {
  return view ? view->convertPointFromView(point, nullptr) : point;
}

}  // namespace

CGPoint UITouch::locationInView(const UIView* view) const { return convertFromWindow(location_, view); }

CGPoint UITouch::previousLocationInView(const UIView* view) const {
  return convertFromWindow(previousLocation_, view);
}

}  // namespace platform
