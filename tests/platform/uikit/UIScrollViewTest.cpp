#include "platform/dispatch/NSTimer.h"
#include "tests/platform/uikit/UIKitFixture.h"

using namespace platform;

namespace {

class ScrollViewTest : public PadTest {
 protected:
  ScrollViewTest() {
    scroll->setContentSize({300, 1000});
    scroll->addSubview(pad);
    window->addSubview(scroll);
    for (const auto& [mode, name] :
         {std::pair(RunLoopMode::Default, "default"), std::pair(RunLoopMode::Common, "common")}) {
      scheduler.mainRunLoop().addTimer(NSTimer::create(1, [this, name = name] { story.tell(name); }), mode);
    }
  }
  RunLoopMode mode() { return scheduler.mainRunLoop().currentMode(); }

  std::shared_ptr<UIScrollView> scroll = std::make_shared<UIScrollView>(CGRectMake(0, 0, 300, 300));
};

TEST_F(ScrollViewTest, ADragMovesTheContentsAndKeepsTheLoopTrackingUntilItEndsOrTheViewGoes) {
  after("down 100 250, move 100 180");
  EXPECT_EQ(scroll->contentOffset(), (CGPoint{0, 70}));
  after("move 90 50");
  EXPECT_EQ(scroll->contentOffset(), (CGPoint{0, 200}));
  EXPECT_TRUE(scroll->isDragging());
  EXPECT_EQ(after("wait 2, up"), "common");
  EXPECT_FALSE(scroll->isDragging());
  EXPECT_EQ(after("wait 0"), "default");
  scroll->setContentOffset({50, 5000});
  EXPECT_EQ(scroll->contentOffset(), (CGPoint{0, 700}));

  after("down 100 250, move 100 180");
  EXPECT_EQ(mode(), RunLoopMode::Tracking);
  scroll->removeFromSuperview();
  EXPECT_EQ(mode(), RunLoopMode::Default);
  after("up");
  window->addSubview(scroll);
  after("down 100 250, move 100 180");
  pad->removeFromSuperview();
  std::exchange(scroll, nullptr)->removeFromSuperview();
  EXPECT_EQ(mode(), RunLoopMode::Default) << "also when the view dies";
}

}  // namespace
