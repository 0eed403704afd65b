#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/graphics/CGGeometry.h"
#include "platform/graphics/Color.h"
#include "platform/runtime/Passkey.h"
#include "platform/uikit/UIResponder.h"

namespace platform {

class BitmapContext;
class UIGestureRecognizer;
class UIViewController;
class UIWindow;
enum class ViewCover;

using UIColor = Color;

// A rectangle on the screen with views inside it.
//
// A view holds its subviews; it refers to its superview weakly. Frames are in the coordinates of the
// superview, bounds in the view's own; units are points, y grows downwards. A view that a controller owns has
// the controller as next responder, any other its superview.
//
// What others read of a view is virtual, so that another toolkit's widgets can be presented as views: such a
// subclass answers `superview`, `subviews`, `window`, `frame` and so on from its own tree.
class PLATFORM_EXPORT UIView : public UIResponder {
  NS_OBJECT(UIView, UIResponder)

 public:
  using Subviews = std::vector<std::shared_ptr<UIView>>;

  explicit UIView(CGRect frame = {});
  ~UIView() override;

  // Keys: frame-less state that others read by name: "accessibilityIdentifier", "accessibilityLabel",
  // "hidden".
  static void describe(ClassBuilder<UIView>& c);

  // Geometry.
  virtual CGRect frame() const { return frame_; }
  void setFrame(CGRect frame);
  // The origin is where the contents are scrolled to.
  virtual CGRect bounds() const { return {boundsOrigin_, frame().size}; }
  void setBoundsOrigin(CGPoint origin);
  // Between the receiver's coordinates and those of `view`, or of the window (of the topmost superview where
  // there is none) when `view` is null.
  CGPoint convertPointToView(CGPoint point, const UIView* view) const;
  CGPoint convertPointFromView(CGPoint point, const UIView* view) const;
  CGRect convertRectToView(CGRect rect, const UIView* view) const;
  // The size that the view would like within `size`; its present one unless the class knows better.
  virtual CGSize sizeThatFits(CGSize size) const;

  // The tree.
  virtual UIView* superview() const { return superview_; }
  // Back to front.
  virtual const Subviews& subviews() const { return subviews_; }
  virtual UIWindow* window() const;
  // Takes the view away from where it was. A view that would contain itself throws std::invalid_argument.
  void addSubview(std::shared_ptr<UIView> view);
  void insertSubview(std::shared_ptr<UIView> view, std::size_t index);
  void bringSubviewToFront(UIView& view);
  void removeFromSuperview();
  bool isDescendantOfView(const UIView& view) const;
  // Called after the view has come to another window, or to none.
  virtual void didMoveToWindow() {}

  // Only a view in a window can be first responder; one that leaves its window resigns before it does.
  bool becomeFirstResponder() override;
  UIResponder* nextResponder() const override;
  // The controller that this is the view of; null for most views.
  UIViewController* viewController() const { return viewController_; }
  void setViewController(Passkey<UIViewController>, UIViewController* controller) {
    viewController_ = controller;
  }

  // State.
  virtual bool isHidden() const { return hidden_; }
  virtual void setHidden(bool hidden);
  virtual double alpha() const { return alpha_; }
  void setAlpha(double alpha);
  virtual bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
  void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }
  // Whether the view is told of a second finger on it. No unless set.
  bool isMultipleTouchEnabled() const { return multipleTouchEnabled_; }
  void setMultipleTouchEnabled(bool enabled) { multipleTouchEnabled_ = enabled; }

  virtual std::optional<String> accessibilityIdentifier() const { return accessibilityIdentifier_; }
  void setAccessibilityIdentifier(std::optional<String> identifier) {
    accessibilityIdentifier_ = std::move(identifier);
  }

  // Touches. The front-most view below the point that is visible and takes touches, itself included; null
  // when there is none. The point is in the receiver's coordinates.
  virtual UIView* hitTest(CGPoint point, UIEvent* event);
  virtual bool pointInside(CGPoint point, UIEvent* event) const;
  void addGestureRecognizer(std::shared_ptr<UIGestureRecognizer> recognizer);
  void removeGestureRecognizer(UIGestureRecognizer& recognizer);
  const std::vector<std::shared_ptr<UIGestureRecognizer>>& gestureRecognizers() const { return recognizers_; }

  // Layout: asked for here, done before the next drawing or by layoutIfNeeded.
  void setNeedsLayout() { needsLayout_ = true; }
  void layoutIfNeeded();
  // Places the subviews. Called after the size changed or on demand; the default does nothing.
  virtual void layoutSubviews() {}

  // Drawing. Asks for the window to be drawn again.
  void setNeedsDisplay();
  const std::optional<UIColor>& backgroundColor() const { return backgroundColor_; }
  void setBackgroundColor(std::optional<UIColor> color);
  double cornerRadius() const { return cornerRadius_; }
  void setCornerRadius(double radius);
  // With a width of 0 there is no border.
  void setBorder(double width, UIColor color);
  bool clipsToBounds() const { return clipsToBounds_; }
  void setClipsToBounds(bool clips);
  // The view's own contents, between its background and its subviews, in its own coordinates.
  virtual void drawRect(CGRect /*rect*/, BitmapContext&) {}
  // Whether drawRect draws what is inside, too, lays it out and covers what is to be covered: another
  // toolkit's picture of its window.
  virtual bool isDrawnWhole() const { return false; }
  // Lays out (if `afterScreenUpdates`) and draws the view with everything inside it, scaled to fill `rect`.
  bool drawViewHierarchyInRect(CGRect rect, bool afterScreenUpdates, BitmapContext& context);
  // Draws the view with everything inside it as it stands, at its own origin.
  void renderInContext(BitmapContext& context);

 protected:
  // A subclass whose tree is not kept here calls this after moving a view from window to window.
  void windowDidChange();

 private:
  void detachFromSuperview();
  void resignFirstResponderWithin();
  // In the coordinates of the superview.
  void drawInSuperview(BitmapContext& context, ViewCover cover);
  void drawContents(BitmapContext& context);

  CGRect frame_;
  CGPoint boundsOrigin_;
  UIView* superview_ = nullptr;
  Subviews subviews_;
  UIViewController* viewController_ = nullptr;
  std::vector<std::shared_ptr<UIGestureRecognizer>> recognizers_;
  std::optional<String> accessibilityIdentifier_;
  std::optional<UIColor> backgroundColor_;
  UIColor borderColor_;
  double borderWidth_ = 0;
  double cornerRadius_ = 0;
  double alpha_ = 1;
  bool hidden_ = false;
  bool userInteractionEnabled_ = true;
  bool multipleTouchEnabled_ = false;
  bool clipsToBounds_ = false;
  bool needsLayout_ = true;
};

}  // namespace platform
