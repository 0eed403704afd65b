// A touch on a segmented control, whose text is that of the segment that it selects.

#include "src/autocapture/KovaSegmentedControlObserver.h"

#include "src/core/UIApplication+DispatchState.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;

namespace {

class SegmentedControlObserverTest : public testing::Test {
 protected:
  void observe() {
    event = settings.touch(control, 0, touch);
    observer = KovaSegmentedControlObserver::observeTouchEvent(event);
  }
  std::string textAfterSelecting(int segment) {
    control->setSelectedSegmentIndex(segment);
    return event->sanitizedTargetText().str();
  }

  SimulatedDevice device;
  CaptureSettings settings;
  std::shared_ptr<UITouch> touch = std::make_shared<UITouch>();
  std::shared_ptr<UISegmentedControl> control =
      std::make_shared<UISegmentedControl>(std::vector<String>{"A", "Middle", "B"});
  std::shared_ptr<KITouchEvent> event;
  std::shared_ptr<KovaSegmentedControlObserver> observer;
};

TEST_F(SegmentedControlObserverTest, TheLastSelectionWinsUntilItIsStopped) {
  EXPECT_EQ(
      KovaSegmentedControlObserver::observeTouchEvent(settings.touch(std::make_shared<UIButton>(), 0, touch)),
      nullptr);
  control->addSegmentWithImage(nullptr);
  control->setSelectedSegmentIndex(0);
  observe();
  EXPECT_EQ(event->sanitizedTargetText().view(), "A Middle");
  EXPECT_EQ(textAfterSelecting(2), "B");
  EXPECT_EQ(textAfterSelecting(UISegmentedControl::kNoSegment), "B");
  EXPECT_EQ(textAfterSelecting(3), "") << "a segment with an image";
  EXPECT_EQ(textAfterSelecting(1), "Middle");
  observer->stopObserving();
  EXPECT_EQ(textAfterSelecting(2), "Middle");
  EXPECT_NO_THROW(observer->stopObserving());
}

TEST_F(SegmentedControlObserverTest, AnotherFingersSelectionIsNotTheTouchs) {
  observe();
  UIEvent others;
  others.addTouch(std::make_shared<UITouch>());
  {
    const KIEventDispatchScope dispatch(others);
    EXPECT_EQ(textAfterSelecting(2), "A Middle");
    others.addTouch(touch);
    EXPECT_EQ(textAfterSelecting(1), "Middle");
  }
  UIEvent shake(UIEventType::Motion, UIEventSubtype::MotionShake);
  const KIEventDispatchScope dispatch(shake);
  EXPECT_EQ(textAfterSelecting(2), "B") << "an event without touches";
}

}  // namespace
