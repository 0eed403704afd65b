// How long a touch waits, from the fingers to the log: by what becomes of its finger.

#include "platform/uikit/UIScrollView.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

class TouchPhaseTest : public CaptureTest {};

TEST_F(TouchPhaseTest, EachFingersTouchWaitsForItsOwnEnd) {
  startWhole();
  place(std::make_shared<UIView>(CGRectMake(10, 100, 100, 40)))->setAccessibilityIdentifier("pad");
  input.touchBegan(1, {20, 20}, window);
  input.touchBegan(2, {20, 110}, window);
  input.touchMoved(1, {21, 21});
  device.advance(3);
  input.touchEnded(2);
  device.advance(0.24);
  EXPECT_THAT(touchesLogged(), SizeIs(0));
  device.advance(0.02);
  EXPECT_THAT(touchesLogged(), ElementsAre(HasSubstr("pad")));
  input.touchEnded(1);
  device.advance(0.26);
  EXPECT_THAT(touchesLogged(), SizeIs(2));

  input.touchBegan(1, {20, 20}, window);
  device.advance(1);
  input.cancelAllTouches();
  device.advance(8.9);
  EXPECT_THAT(touchesLogged(), SizeIs(2)) << "a cancelled touch waits for the ceiling";
  device.advance(0.2);
  EXPECT_THAT(touchesLogged(), SizeIs(3));
}

TEST_F(TouchPhaseTest, WhileAScrollViewIsDraggedNothingLeavesTheCache) {
  startWhole();
  const auto list = place(UIScrollView::create(CGRectMake(10, 100, 200, 200)));
  list->setContentSize({200, 2000});
  list->addSubview(std::make_shared<UIButton>("Row"));
  list->subviews().front()->setFrame(CGRectMake(0, 0, 200, 200));
  tap();
  input.touchBegan(1, {50, 250}, window);
  input.touchMoved(1, {50, 200});
  ASSERT_TRUE(list->isDragging());
  device.advance(12);
  EXPECT_THAT(touchesLogged(), SizeIs(0));
  input.touchMoved(1, {50, 150});
  input.touchEnded(1);
  device.drain();
  device.advance(0.24);
  EXPECT_THAT(touchesLogged(), ElementsAre(HasSubstr("Pay")));
  device.advance(0.02);
  EXPECT_THAT(touchesLogged(), SizeIs(2)) << "taken from its button, but lifted";
}

}  // namespace
