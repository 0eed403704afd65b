#include "platform/dispatch/NSTimer.h"
#include "platform/uikit/UIScrollView.h"
#include "tests/platform/uikit/GestureFixture.h"

using namespace platform;
using testing::ElementsAre;

namespace {

class ScrollViewTest : public GestureFixture {
 protected:
  ScrollViewTest() {
    scroll->setContentSize({300, 1000});
    scroll->addSubview(pad);
    window->addSubview(scroll);
    scheduler.mainRunLoop().addTimer(NSTimer::create(1, [this] { log.push_back("default"); }),
                                     RunLoopMode::Default);
    scheduler.mainRunLoop().addTimer(NSTimer::create(1, [this] { log.push_back("common"); }),
                                     RunLoopMode::Common);
  }
  RunLoopMode mode() { return scheduler.mainRunLoop().currentMode(); }

  std::shared_ptr<UIScrollView> scroll = std::make_shared<UIScrollView>(CGRectMake(0, 0, 300, 300));
};

TEST_F(ScrollViewTest, ADragMovesTheContentsAndKeepsTheLoopTracking) {
  down(100, 250);
  move(100, 180);
  EXPECT_EQ(scroll->contentOffset(), (CGPoint{0, 70}));
  move(90, 50);
  EXPECT_EQ(scroll->contentOffset(), (CGPoint{0, 200}));
  EXPECT_TRUE(scroll->isDragging());
  scheduler.advance(2);
  EXPECT_THAT(take(), ElementsAre("began 0", "cancelled 4", "common"));
  up();
  EXPECT_FALSE(scroll->isDragging());
  scheduler.advance(0);
  EXPECT_THAT(take(), ElementsAre("default"));

  scroll->setContentOffset({50, 5000});
  EXPECT_EQ(scroll->contentOffset(), (CGPoint{0, 700}));
}

TEST_F(ScrollViewTest, TheModeIsBackWhenTheViewLeavesOrDies) {
  down(100, 250);
  move(100, 180);
  EXPECT_EQ(mode(), RunLoopMode::Tracking);
  scroll->removeFromSuperview();
  EXPECT_EQ(mode(), RunLoopMode::Default);
  up();

  window->addSubview(scroll);
  down(100, 250);
  move(100, 180);
  EXPECT_EQ(mode(), RunLoopMode::Tracking);
  pad->removeFromSuperview();
  scroll.reset();
  window->subviews().back()->removeFromSuperview();
  up();
  EXPECT_EQ(mode(), RunLoopMode::Default);
}

}  // namespace
