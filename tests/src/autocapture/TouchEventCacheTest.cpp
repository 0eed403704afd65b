// Touch events that wait for the action of their touch.

#include "src/autocapture/KITouchEventCache.h"

#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using namespace testing;

namespace {

using platform::Value;

class TouchEventCacheTest : public testing::Test {
 protected:
  static std::shared_ptr<UITouch> touchOn(const std::shared_ptr<UIView>& view) {
    const auto touch = std::make_shared<UITouch>();
    touch->setTarget(nullptr, view);
    return touch;
  }
  // It is in `removed` once it has left.
  std::shared_ptr<KITouchEvent> add(const std::shared_ptr<UITouch>& touch) {
    const auto event = settings.touch(touch->view(), 0, touch);
    cache->addTouchEvent(event, [this, touch] { removed.push_back(touch); });
    return event;
  }

  SimulatedDevice device;
  CaptureSettings settings;
  std::shared_ptr<UIButton> button = std::make_shared<UIButton>();
  std::shared_ptr<KITouchEventCache> cache = std::make_shared<KITouchEventCache>(0.25, 10.0);
  std::vector<std::shared_ptr<UITouch>> removed;
};

TEST_F(TouchEventCacheTest, AnEventLeavesAQuarterOfASecondAfterItsTouchHasEnded) {
  const auto touch = touchOn(button);
  const auto over = touchOn(button);
  const auto cancelled = touchOn(button);
  over->setPhase(UITouchPhase::Ended);
  for (const auto& each : {touch, over, cancelled}) add(each);
  cancelled->setPhase(UITouchPhase::Cancelled);
  device.advance(0.24);
  EXPECT_THAT(removed, IsEmpty());
  device.advance(0.02);
  EXPECT_THAT(removed, ElementsAre(over));
  touch->setPhase(UITouchPhase::Moved);
  device.advance(6);
  touch->setPhase(UITouchPhase::Ended);
  device.advance(0.24);
  EXPECT_THAT(removed, ElementsAre(over));
  device.advance(0.02);
  EXPECT_THAT(removed, ElementsAre(over, touch));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 1u);
  device.advance(3.4);
  EXPECT_THAT(removed, SizeIs(2));
  device.advance(0.1);
  EXPECT_THAT(removed, ElementsAre(over, touch, cancelled)) << "after ten seconds in all";
  cancelled->setPhase(UITouchPhase::Ended);
  device.advance(20);
  EXPECT_THAT(removed, SizeIs(3));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 0u);
}

TEST_F(TouchEventCacheTest, EventsAreFoundByTouchOrElseByControl) {
  const auto label = std::make_shared<UILabel>("Pay");
  button->addSubview(label);
  const auto second = touchOn(label);
  const std::vector events{add(touchOn(button)), add(second), add(touchOn(std::make_shared<UIButton>()))};
  EXPECT_THAT(cache->eventsWithTouchIfPresent(second.get(), nullptr), ElementsAre(events[1]));
  EXPECT_THAT(cache->eventsWithTouchIfPresent(nullptr, button.get()), ElementsAre(events[0], events[1]));
  EXPECT_THAT(cache->eventsWithTouchIfPresent(nullptr, nullptr), IsEmpty());
  EXPECT_EQ(cache->allEvents(), events);
}

TEST_F(TouchEventCacheTest, EachEventLeavesOnceWhateverItsCallbackDoes) {
  const auto touch = touchOn(button);
  std::shared_ptr<KITouchEventCache::Entry> entry;
  int calls = 0;
  entry = cache->addTouchEvent(settings.touch(button, 0, touch), [&] {
    ++calls;
    EXPECT_THAT(cache->allEvents(), SizeIs(2)) << "still there";
    cache->removeEntry(entry);
    cache->removeAllEntries();
    throw std::runtime_error("out of the callback");
  });
  add(touchOn(button));
  device.scheduler.setMainRunLoopMode(RunLoopMode::Tracking);
  device.advance(12);
  EXPECT_EQ(calls, 0) << "while something is dragged, nothing leaves";
  device.scheduler.setMainRunLoopMode(RunLoopMode::Default);
  device.drain();
  cache->removeEntry(entry);
  EXPECT_EQ(calls, 1);
  EXPECT_THAT(removed, SizeIs(1));
  EXPECT_THAT(cache->allEvents(), IsEmpty());
}

class WaitingTouchTest : public CaptureTest {};

// A session whose first pageview comes while a touch waits: the touch belongs to that one, not to a later
// one.
TEST_F(WaitingTouchTest, GetsTheFirstPageviewOfItsSession) {
  const auto options = device.optionsWithScreens();
  device.start(options);
  window->setRootViewController(nullptr);
  window->addSubview(button);
  input.touchBegan(1, {20, 20}, window);
  device.drain();
  screen("First")->viewDidAppear(false);
  device.drain();
  screen("Later")->viewDidAppear(false);
  Kova::addEventProperties({{"later", true}});
  device.drain();
  input.touchEnded(1);
  device.advance(1);
  device.upload();
  const Dictionary touch = device.receivedMessages().back();
  EXPECT_EQ(at(touch, "event/touchEvent/targetView"), Value("UIButton"));
  EXPECT_EQ(at(touch, "pageviewInfo/title"), Value("First"));
  EXPECT_EQ(at(touch, "sessionInfo/id"), Value(*Kova::sessionId()));
  EXPECT_TRUE(at(touch, "properties").isNull()) << "what the touch had stays as it was";

  // Nor to a session that begins while it waits, which has no event and so gets no pageview.
  options->setTestOnlySessionExpirationInterval(5.0);
  const auto visible = device.show(screen());
  input.touchBegan(1, {20, 20}, window);
  device.advance(6);
  input.touchEnded(1);
  device.upload();
  device.upload();
  const Dictionary later = device.receivedMessages().back();
  EXPECT_EQ(device.receivedMessages().size(), 3u) << "with the installation";
  EXPECT_EQ(at(later, "sessionInfo/id"), at(touch, "sessionInfo/id"));
  EXPECT_THAT(device.receivedTargets("/h"),
              Each(HasSubstr("&s=" + at(touch, "sessionInfo/id").description())));
}

}  // namespace
