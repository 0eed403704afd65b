#pragma once

#include <memory>
#include <optional>

#include "platform/uikit/TrackingMode.h"
#include "platform/uikit/UIView.h"

namespace platform {

class UIPanGestureRecognizer;

// A view whose contents are larger than itself and follow the finger.
//
// While a finger drags, the main run loop is in its tracking mode: timers of the default mode wait until the
// finger is lifted. A drag takes the touch away from the view that it began on.
class PLATFORM_EXPORT UIScrollView : public UIView {
  NS_OBJECT(UIScrollView, UIView)

 public:
  static std::shared_ptr<UIScrollView> create(CGRect frame = {});
  explicit UIScrollView(CGRect frame = {});
  ~UIScrollView() override;

  static void describe(ClassBuilder<UIScrollView>& c);

  CGSize contentSize() const { return contentSize_; }
  void setContentSize(CGSize size);
  CGPoint contentOffset() const { return bounds().origin; }
  // Kept within the contents.
  void setContentOffset(CGPoint offset);
  // A finger is moving the contents.
  bool isDragging() const { return tracking_.has_value(); }
  // A subclass calls up: the end of a drag, and the recogniser for the next.
  void didMoveToWindow() override;
  // Made when it is first asked for, or when the view first comes to a window.
  const std::shared_ptr<UIPanGestureRecognizer>& panGestureRecognizer();

 private:
  void handlePan();

  CGSize contentSize_;
  CGPoint offsetAtStart_;
  std::shared_ptr<UIPanGestureRecognizer> pan_;
  std::optional<TrackingMode> tracking_;  // while dragging
};

}  // namespace platform
