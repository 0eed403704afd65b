#include "platform/uikit/UITouch.h"
#include "platform/uikit/UIView.h"

namespace platform {

// A window's coordinates are those that its views convert to and from by default.
CGPoint UITouch::locationInView(const UIView* view) const {
  return view ? view->convertPointFromView(location_, nullptr) : location_;
}

}  // namespace platform
