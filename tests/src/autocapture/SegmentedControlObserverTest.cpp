// A touch on a segmented control, whose text is that of the segment that it selects.

#include "src/autocapture/KovaSegmentedControlObserver.h"

#include "src/autocapture/UIResponder+KovaIgnore.h"
#include "src/core/KovaUtil.h"
#include "src/core/UIApplication+DispatchState.h"
#include "tests/src/autocapture/CaptureFixture.h"

using namespace platform;

namespace {

class SegmentedControlObserverTest : public testing::Test {
 protected:
  std::shared_ptr<KITouchEvent> touchOn(const std::shared_ptr<UIView>& view, unsigned rules = 0) {
    touch->setTarget(nullptr, view);
    return KITouchEvent::create("touch", view, touch, std::nullopt, KITouchEvent::ViewAncestry::Omit,
                                kAppVisibilityStateForeground, rules, settings);
  }

  SimulatedDevice device;
  CaptureSettings settings;
  std::shared_ptr<UITouch> touch = std::make_shared<UITouch>();
  std::shared_ptr<UISegmentedControl> control =
      std::make_shared<UISegmentedControl>(std::vector<String>{"A", "Middle", "B"});
};

TEST_F(SegmentedControlObserverTest, TheLastSelectionWinsUntilItIsStopped) {
  EXPECT_EQ(KovaSegmentedControlObserver::observeTouchEvent(touchOn(std::make_shared<UIButton>())), nullptr);
  control->addSegmentWithImage(nullptr);
  control->setSelectedSegmentIndex(0);
  const auto event = touchOn(control);
  EXPECT_EQ(event->sanitizedTargetText().view(), "A Middle");
  const auto observer = KovaSegmentedControlObserver::observeTouchEvent(event);
  ASSERT_NE(observer, nullptr);
  control->setSelectedSegmentIndex(2);
  EXPECT_EQ(event->sanitizedTargetText().view(), "B");
  control->setSelectedSegmentIndex(UISegmentedControl::kNoSegment);
  EXPECT_EQ(event->sanitizedTargetText().view(), "B");
  control->setSelectedSegmentIndex(3);
  EXPECT_EQ(event->sanitizedTargetText().view(), "") << "a segment with an image";
  control->setSelectedSegmentIndex(1);
  observer->stopObserving();
  control->setSelectedSegmentIndex(2);
  EXPECT_EQ(event->sanitizedTargetText().view(), "Middle");
  EXPECT_NO_THROW(observer->stopObserving());
}

TEST_F(SegmentedControlObserverTest, AnotherFingersSelectionIsNotTheTouchs) {
  const auto event = touchOn(control);
  const auto observer = KovaSegmentedControlObserver::observeTouchEvent(event);
  const auto text = event->sanitizedTargetText();
  const auto others = std::make_shared<UIEvent>();
  others->addTouch(std::make_shared<UITouch>());
  {
    const KIEventDispatchScope dispatch(*others);
    control->setSelectedSegmentIndex(2);
    EXPECT_EQ(event->sanitizedTargetText(), text);
    others->addTouch(touch);
    control->setSelectedSegmentIndex(1);
    EXPECT_EQ(event->sanitizedTargetText().view(), "Middle");
  }
  UIEvent shake(UIEventType::Motion, UIEventSubtype::MotionShake);
  const KIEventDispatchScope dispatch(shake);
  control->setSelectedSegmentIndex(2);
  EXPECT_EQ(event->sanitizedTargetText().view(), "B") << "an event without touches";
}

TEST_F(SegmentedControlObserverTest, WhatIsRedactedOrOmittedStaysSo) {
  const auto redacted = touchOn(control, kKovaIgnoreRuleRedactText);
  settings.textOff = true;
  const auto omitted = touchOn(control);
  const auto first = KovaSegmentedControlObserver::observeTouchEvent(redacted);
  const auto second = KovaSegmentedControlObserver::observeTouchEvent(omitted);
  control->setSelectedSegmentIndex(2);
  EXPECT_EQ(redacted->sanitizedTargetText().view(), "****");
  EXPECT_EQ(omitted->sanitizedTargetText().view(), "");
}

}  // namespace
