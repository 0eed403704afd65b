// How long a touch waits, from the fingers to the log: by what becomes of its finger.

#include "platform/uikit/UIScrollView.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

class TouchPhaseTest : public CaptureTest {};

TEST_F(TouchPhaseTest, ACancelledTouchWaitsForTheCeiling) {
  startWhole();
  input.touchBegan(1, {20, 20}, window);
  input.cancelAllTouches();
  device.advance(9.9);
  EXPECT_THAT(touchesLogged(), SizeIs(0));
  device.advance(0.2);
  EXPECT_THAT(touchesLogged(), SizeIs(1));
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
