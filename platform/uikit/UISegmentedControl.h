#pragma once

#include <vector>

#include "platform/graphics/Image.h"
#include "platform/uikit/UIControl.h"

namespace platform {

class UISegment;

// A row of segments, one of which may be selected. Each has a title or an image.
//
// A touch that is lifted over a segment selects it. A change of the selection is announced by key
// ("selectedSegmentIndex"), and, when the user made it, sent as ValueChanged. Each segment is a subview, of
// class "UISegment", with a label inside it when it has a title. Touches are the control's own.
class PLATFORM_EXPORT UISegmentedControl : public UIControl {
  NS_OBJECT(UISegmentedControl, UIControl)

 public:
  static constexpr int kNoSegment = -1;

  explicit UISegmentedControl(CGRect frame = {});
  explicit UISegmentedControl(const std::vector<String>& titles);
  ~UISegmentedControl() override;

  // Key that is announced: "selectedSegmentIndex".
  static void describe(ClassBuilder<UISegmentedControl>& c);

  void addSegmentWithTitle(String title);
  void addSegmentWithImage(std::shared_ptr<const Image> image);
  virtual int numberOfSegments() const;
  // None for a segment with an image. An index out of range throws std::out_of_range.
  virtual std::optional<String> titleForSegmentAtIndex(int index) const;
  virtual int selectedSegmentIndex() const { return selectedSegmentIndex_; }
  // kNoSegment selects none. An index that is no segment's throws std::out_of_range.
  void setSelectedSegmentIndex(int index);

  UIView* hitTest(CGPoint point, UIEvent* event) override;
  void layoutSubviews() override;
  CGSize sizeThatFits(CGSize size) const override;
  void drawRect(CGRect rect, BitmapContext& context) override;

 protected:
  void touchUp(const UITouch& touch, UIEvent* event) override;

 private:
  void addSegment(std::shared_ptr<UISegment> segment);
  CGRect frameOfSegment(int index) const;
  // kNoSegment when the point is over none.
  int segmentAt(CGPoint point) const;

  std::vector<std::shared_ptr<UISegment>> segments_;
  int selectedSegmentIndex_ = kNoSegment;
};

}  // namespace platform
